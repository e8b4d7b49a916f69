// A byte stream as a peer may send it, read through NiRead and NiRawRead over a socket pair with
// time-out 0 and buffers of changing sizes, as a caller that reads on after time-outs does.
//
// Input: byte 0 holds flags (bit 0: the handle's socket blocks; bit 1: single read; bit 2: the
// peer shuts down after sending; bit 3: raw reads are mixed in); byte 1 chooses the buffer sizes;
// the rest is the stream.
//
// Rules: every result is one the read can give; *pRead stays within the buffer; the bytes a call
// delivers are the last bytes it took off the socket (so framing never misplaces data); a framed
// read that succeeds delivers no more than the buffer; the read state holds at most 4 length
// bytes; and the loop ends, by the peer's close or by a call that takes nothing.
#include <sys/ioctl.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "../tests/support/ni_conn.h"
#include "fuzz_support.h"
#include "zul_ctrc.h"

namespace {

constexpr int kSizes[] = {0, 1, 3, 4, 7, 8, 9, 64, 4096};

size_t Unread(int fd) {
  int n = 0;
  FUZZ_REQUIRE(ioctl(fd, FIONREAD, &n) == 0);
  return static_cast<size_t>(n);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool kStarted = [] {
    ct_level = 0;  // the reads' trace lines would only slow the fuzzer down
    return NiInit3(8) == ZUL_O_K;
  }();
  FUZZ_REQUIRE(kStarted);
  // The stream fits the socket's buffer, so that sending it never blocks.
  if (size < 2 || size > 32768) return 0;
  const uint8_t flags = data[0], sizes = data[1];
  const uint8_t *stream = data + 2;
  const size_t length = size - 2;

  int fds[2];
  FUZZ_REQUIRE(ni_test::StreamPair(ni_test::Link::kUnix, fds));
  FUZZ_REQUIRE(send(fds[1], stream, length, 0) == static_cast<ssize_t>(length));
  if (flags & 4) shutdown(fds[1], SHUT_WR);
  int hdl = ni_test::Attach(fds[0], (flags & 1) != 0);
  FUZZ_REQUIRE(hdl >= 0);
  NITAB *p = &ni::gTab[hdl >> 3];
  p->con.mSingleRead = (flags & 2) != 0 ? 1 : 0;

  std::vector<uint8_t> buffer;
  size_t consumed = 0;
  int idle = 0;
  for (int call = 0; call < 4 * static_cast<int>(length) + 16 && idle < 2; ++call) {
    int bufferLen = kSizes[(sizes + call * (1 + (sizes >> 4))) % std::size(kSizes)];
    bool raw = (flags & 8) != 0 && call % 3 == 2;
    if (raw && bufferLen == 0) bufferLen = 1;
    buffer.assign(static_cast<size_t>(bufferLen) + 1, 0xA5);  // one guard byte behind
    int got = -2;
    int rc = raw ? NiRawRead(hdl, buffer.data(), bufferLen, 0, &got)
                 : NiRead(hdl, buffer.data(), bufferLen, 0, &got);
    FUZZ_REQUIRE(rc == ZUL_O_K || rc == NIETIMEOUT || rc == NIETOO_SMALL || rc == NIEPING ||
                 rc == NIECONN_BROKEN || rc == NIEINTERN);
    FUZZ_REQUIRE(got >= 0 && got <= bufferLen);
    FUZZ_REQUIRE(buffer[static_cast<size_t>(bufferLen)] == 0xA5);
    FUZZ_REQUIRE(p->con.mPendHdrLenToRead <= 4);
    size_t now = length - Unread(fds[0]);
    FUZZ_REQUIRE(now >= consumed && now - consumed >= static_cast<size_t>(got));
    FUZZ_REQUIRE(std::memcmp(buffer.data(), stream + now - got, static_cast<size_t>(got)) == 0);
    if (rc == NIEPING) FUZZ_REQUIRE(got == 0);  // its bytes may have come over several calls
    if (rc == NIETOO_SMALL) FUZZ_REQUIRE(bufferLen == 0 || got == bufferLen);
    if (rc == NIECONN_BROKEN || rc == NIEINTERN) break;
    idle = now == consumed && rc == NIETIMEOUT ? idle + 1 : 0;
    consumed = now;
  }
  FUZZ_REQUIRE(NiCloseHandle(hdl) == ZUL_O_K);
  close(fds[1]);
  return 0;
}

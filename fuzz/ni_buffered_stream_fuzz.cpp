// A byte stream as a peer may send it, read by a buffered handle and drained with NiBufReceive
// (time-out 0) until nothing moves.
//
// Input: byte 0 holds flags (bit 0: the peer shuts down after sending; bit 1: a message limit of
// 64 bytes); the rest is the stream.
//
// Rules: a buffer comes exactly with success; a delivered message is never longer than the limit
// or the stream; a fault answers the same code on every later call; the loop ends; and closing
// the handle gives every buffer back.
#include <cstdint>
#include <cstring>

#include "../tests/support/ni_conn.h"
#include "fuzz_support.h"
#include "ni/nibuf.h"
#include "zul_ctrc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool kStarted = [] {
    ct_level = 0;
    return NiInit3(8) == ZUL_O_K;
  }();
  FUZZ_REQUIRE(kStarted);
  if (size < 1 || size > 32768) return 0;
  const uint8_t flags = data[0];
  const uint8_t *stream = data + 1;
  const size_t length = size - 1;
  const uint64_t heap = ni::buf::HeapInUse();

  int fds[2];
  FUZZ_REQUIRE(ni_test::StreamPair(ni_test::Link::kUnix, fds));
  FUZZ_REQUIRE(send(fds[1], stream, length, 0) == static_cast<ssize_t>(length));
  if (flags & 1) shutdown(fds[1], SHUT_WR);
  int hdl = ni_test::Attach(fds[0], false);
  FUZZ_REQUIRE(hdl >= 0);
  NI_PARAM_DATA d{NIHP_BUFSTAT, NI_DT_RAW, {}};
  d.value.raw_val = NI_BUFSTAT_ON;
  FUZZ_REQUIRE(NiSetHdlParamEx(hdl, &d) == ZUL_O_K);
  const uint32_t limit = (flags & 2) != 0 ? 64 : NIBUF_MAXALLOC;
  d = NI_PARAM_DATA{NIHP_MAX_MSG_LEN, NI_DT_UINT, {}};
  d.value.uint_val = limit;
  FUZZ_REQUIRE(NiSetHdlParamEx(hdl, &d) == ZUL_O_K);

  const NI_XHDL *x = ni::gTab[hdl >> 3].mpXhdl;
  int fault = 0, afterFault = 0;
  for (int call = 0; call < static_cast<int>(length) + 16 && afterFault < 3; ++call) {
    NIBUF *b = nullptr;
    int rc = NiBufReceive(hdl, &b, 0);
    FUZZ_REQUIRE((rc == ZUL_O_K) == (b != nullptr));
    if (fault != 0) {
      FUZZ_REQUIRE(rc == fault);
      ++afterFault;
      continue;
    }
    if (b != nullptr) {
      FUZZ_REQUIRE(b->len <= limit && b->len + 4 <= length);
      NiBufFree(&b);
      continue;
    }
    if (rc == NIETIMEOUT) break;
    // Anything else is an answered ping, a peer's report (any code), or the handle's fault.
    if (x->mStatus == ni::buf::kErr) fault = rc;
  }
  FUZZ_REQUIRE(NiCloseHandle(hdl) == ZUL_O_K);
  close(fds[1]);
  FUZZ_REQUIRE(ni::buf::HeapInUse() == heap);
  return 0;
}

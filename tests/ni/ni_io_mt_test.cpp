// One handle read by one thread and written by another, while the peer echoes every message and
// pings now and then: the pongs that reads send must never land inside a message being written.
#include <gtest/gtest.h>
#include <poll.h>

#include <string>
#include <thread>

#include "ni/nixxi.h"
#include "ni_conn.h"

namespace {

constexpr int kMessages = 2000;
constexpr int kPingEvery = 10;

std::string MtFrame(const std::string &data) {
  uint32_t n = htonl(static_cast<uint32_t>(data.size()));
  return std::string(reinterpret_cast<const char *>(&n), 4) + data;
}

bool MtSendAll(int fd, const std::string &b) {
  return send(fd, b.data(), b.size(), 0) == static_cast<ssize_t>(b.size());  // blocking
}

// The peer: parses the handle's stream into frames until it ends, echoes data, counts pongs and
// the pings it sent.
struct EchoPeer {
  int fd;
  int echoed = 0, pongs = 0, bad = 0, pings = 0;
  void Run() {
    std::string in;
    pollfd p{fd, POLLIN, 0};
    char buf[4096];
    for (ssize_t n; poll(&p, 1, 5000) == 1 && (n = recv(fd, buf, sizeof buf, 0)) > 0;) {
      in.append(buf, static_cast<size_t>(n));
      while (in.size() >= 4) {
        uint32_t len = ntohl(*reinterpret_cast<const uint32_t *>(in.data()));
        if (len > 1000) {  // a frame broken by another one written into it
          ++bad;
          return;
        }
        if (in.size() < 4 + len) break;
        std::string msg = in.substr(4, len);
        in.erase(0, 4 + len);
        if (msg == std::string("NI_PONG\0", 8)) {
          ++pongs;
        } else {
          bad += msg != "msg " + std::to_string(echoed);
          if (++echoed % kPingEvery == 0 && echoed < kMessages &&
              MtSendAll(fd, MtFrame(std::string("NI_PING\0", 8))))
            ++pings;
          MtSendAll(fd, MtFrame(msg));
        }
      }
    }
  }
};

TEST(NiIoMt, ReaderAndWriterShareAHandle) {
  ASSERT_EQ(NiInit3(8), ZUL_O_K);
  ni_test::Conn c = ni_test::Connect(ni_test::Link::kTcp, false);
  ASSERT_GE(c.hdl, 0);
  EchoPeer peer{c.peer};
  std::thread peerThread([&] { peer.Run(); });
  int writeFaults = 0, got = 0, checks = 0;
  std::thread writer([&] {
    for (int i = 0, w = 0; i < kMessages && writeFaults == 0; ++i) {
      std::string m = "msg " + std::to_string(i);
      writeFaults += NiWrite(c.hdl, m.data(), static_cast<int>(m.size()), 5000, &w) != ZUL_O_K;
    }
  });
  std::thread reader([&] {  // ends at the first fault: got stays short
    char buf[64];
    for (int k = 0, n = 0, rc = 0; k < 2 * kMessages && got < kMessages; ++k) {
      if ((rc = NiRead(c.hdl, buf, sizeof buf, 5000, &n)) == NIEPING)
        ++checks;
      else if (rc == ZUL_O_K &&
               std::string(buf, static_cast<size_t>(n)) == "msg " + std::to_string(got))
        ++got;
      else
        return;
    }
  });
  writer.join();
  reader.join();
  uint32_t out = NiHdlGetOutMsgs(c.hdl);
  EXPECT_EQ(NiCloseHandle(c.hdl), ZUL_O_K);  // the peer reads to the end of the stream
  peerThread.join();
  EXPECT_EQ(writeFaults, 0);
  EXPECT_EQ(got, kMessages);
  EXPECT_EQ(peer.bad, 0);
  EXPECT_EQ(peer.echoed, kMessages);
  EXPECT_EQ(checks, peer.pings);
  EXPECT_LE(peer.pongs, peer.pings);  // a pong is skipped while a message is going out
  EXPECT_EQ(out, static_cast<uint32_t>(kMessages + peer.pongs));
  EXPECT_EQ(NiExit(), ZUL_O_K);
}

}  // namespace

// Socket passing: what SiSendSocket puts on the wire, seen by a raw recvmsg peer; what
// SiRecvSocket makes of raw sendmsg messages, good and malformed; a connection served on a
// socket passed from one end of a pair to the other.
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "si_test_util.h"
#include "trace_capture.h"
#include "zul_si.h"

namespace {

// The 15-byte record for family 2, type 1 with the given length field.
std::vector<unsigned char> Record(unsigned length = 15) {
  return {0,
          0,
          0,
          0,
          static_cast<unsigned char>(length >> 8),
          static_cast<unsigned char>(length),
          0,
          0,
          0,
          0,
          2,
          0,
          0,
          0,
          1};
}

// Sends data with a control message of the given type carrying the descriptors (none: no control).
ssize_t RawSend(int via, const std::vector<unsigned char> &data, int type, std::vector<int> fds) {
  iovec iov{const_cast<unsigned char *>(data.data()), data.size()};
  alignas(cmsghdr) unsigned char control[64] = {};
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  ucred cred{getpid(), getuid(), getgid()};
  bool creds = type == SCM_CREDENTIALS;
  size_t bytes = creds ? sizeof cred : fds.size() * sizeof(int);
  if (bytes > 0) {
    msg.msg_control = control;
    msg.msg_controllen = CMSG_SPACE(bytes);
    cmsghdr *c = CMSG_FIRSTHDR(&msg);
    *c = cmsghdr{CMSG_LEN(bytes), SOL_SOCKET, type};
    std::memcpy(CMSG_DATA(c), creds ? static_cast<const void *>(&cred) : fds.data(), bytes);
  }
  return sendmsg(via, &msg, 0);
}

TEST(SiPass, SentMessageOnTheWire) {
  si_test::Pair p;
  SI_SOCK tcp;
  ASSERT_EQ(SiSocketIPv6(&tcp, SI_SOCK_DGRAM), SI_OK);
  ASSERT_EQ(SiSendSocket(&p.a, &tcp), SI_OK);
  unsigned char data[32];
  alignas(cmsghdr) unsigned char control[64];
  iovec iov{data, sizeof data};
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  msg.msg_control = control;
  msg.msg_controllen = sizeof control;
  ASSERT_EQ(recvmsg(p.b.socket, &msg, 0), 15);
  const unsigned char expected[15] = {0, 0, 0, 0, 0, 15, 0, 0, 0, 0, 10, 0, 0, 0, 2};
  EXPECT_EQ(std::memcmp(data, expected, 15), 0);
  cmsghdr *c = CMSG_FIRSTHDR(&msg);
  ASSERT_NE(c, nullptr);
  EXPECT_TRUE(c->cmsg_len == 20u && c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_RIGHTS);
  int fd;
  std::memcpy(&fd, CMSG_DATA(c), sizeof fd);
  int type = 0;
  socklen_t len = sizeof type;
  EXPECT_EQ(getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &len), 0);
  EXPECT_EQ(type, SOCK_DGRAM);
  close(fd);
  SiClose(&tcp);
}

TEST(SiPass, ReceivesAndDropsALongerInfo) {
  for (unsigned length : {15u, 20u}) {
    si_test::Pair p;
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    ASSERT_EQ(RawSend(p.b.socket, Record(length), SCM_RIGHTS, {fds[0]}), 15);
    ASSERT_EQ(send(p.b.socket, "12345next", length - 15 + 4, 0), length - 15 + 4);
    SI_SOCK got{-1, 0, 0, 7};
    ASSERT_EQ(SiRecvSocket(&p.a, &got), SI_OK) << length;
    EXPECT_EQ(got.family, 2);
    EXPECT_EQ(got.type, 1);
    EXPECT_EQ(got.lastError, 0u);
    char rest[4];
    EXPECT_EQ(recv(p.a.socket, rest, 4, 0), 4);
    EXPECT_EQ(std::memcmp(rest, length == 15 ? "1234" : "next", 4), 0);
    // The received descriptor is the socket that was sent.
    EXPECT_EQ(write(got.socket, "z", 1), 1);
    char z = 0;
    EXPECT_EQ(read(fds[1], &z, 1), 1);
    SiClose(&got);
    close(fds[0]);
    close(fds[1]);
  }
}

// Malformed messages: 14 with 2050, and nothing the kernel installed stays open.
TEST(SiPass, MalformedMessagesLeaveNoDescriptor) {
  struct Row {
    const char *what;
    std::vector<unsigned char> data;
    int type;
    int fdCount;
    int extra;  // bytes sent after the message before the sender shuts down
    const char16_t *line;
  };
  std::vector<unsigned char> rec14 = Record(), rec16 = Record();
  rec14.pop_back();
  rec16.push_back(0);
  const Row rows[] = {
      {"14 bytes", rec14, SCM_RIGHTS, 1, 0, u"invalid received data length (14<>15)"},
      {"16 bytes", rec16, SCM_RIGHTS, 1, 0, u"invalid received data length (16<>15)"},
      {"no control data", Record(), SCM_RIGHTS, 0, 0, u"no valid message received"},
      {"credentials", Record(), SCM_CREDENTIALS, 0, 0, u"no valid message received"},
      {"two descriptors", Record(), SCM_RIGHTS, 2, 0, u"no valid message received"},
      {"extra bytes missing", Record(30), SCM_RIGHTS, 1, 5,
       u"invalid socket info received (5<>15)"},
      {"peer gone before extra bytes", Record(16), SCM_RIGHTS, 1, 0,
       u"invalid socket info received (0<>1)"},
  };
  tlm_test::TraceCapture trace(2);
  for (const Row &r : rows) {
    si_test::Pair p;
    int on = 1;  // credentials reach the receiver only when it asks for them
    if (r.type == SCM_CREDENTIALS) setsockopt(p.a.socket, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
    int before = si_test::OpenFdCount();
    std::vector<int> fds;
    for (int i = 0; i < r.fdCount; ++i) fds.push_back(dup(p.b.socket));
    ASSERT_EQ(RawSend(p.b.socket, r.data, r.type, fds), static_cast<ssize_t>(r.data.size()));
    for (int fd : fds) close(fd);
    ASSERT_EQ(send(p.b.socket, "abcdefgh", r.extra, 0), r.extra);
    shutdown(p.b.socket, SHUT_WR);
    SI_SOCK got{-1, 0, 0, 0};
    trace.Clear();
    EXPECT_EQ(SiRecvSocket(&p.a, &got), SI_EINTERN) << r.what;
    EXPECT_NE(trace.Text().find(std::u16string(u"*** ERROR => SiRecvSocket: ") + r.line),
              std::u16string::npos)
        << r.what << ": " << tlm_test::Utf8(trace.Text());
    EXPECT_EQ(p.a.lastError, 2050u) << r.what;
    EXPECT_EQ(got.socket, -1) << r.what;
    EXPECT_EQ(si_test::OpenFdCount(), before) << r.what;
  }
}

// An accepted TCP connection, passed on and closed by the sender, is served by the receiver.
TEST(SiPass, ReceivedSocketServesTheConnection) {
  si_test::Listener l;
  si_test::Pair p;
  SI_SOCK c, a, s;
  ASSERT_EQ(SiSocketIPv4(&c, SI_SOCK_STREAM), SI_OK);
  ASSERT_EQ(SiConnect(&c, si_test::kLoopback, 4, l.port), SI_OK);
  ASSERT_EQ(SiAccept(&l.sock, &a, nullptr, 0, nullptr), SI_OK);
  ASSERT_EQ(SiSendSocket(&p.a, &a), SI_OK);
  SiClose(&a);
  ASSERT_EQ(SiRecvSocket(&p.b, &s), SI_OK);
  size_t n = 0;
  char buf[4] = {};
  ASSERT_EQ(SiSend(&s, "pong", 4, 0, &n), SI_OK);
  ASSERT_EQ(SiPeek(&c, SI_PEEK_RD, 5000), SI_OK);
  ASSERT_EQ(SiRecv(&c, buf, 4, 0, &n), SI_OK);
  EXPECT_EQ(std::string(buf, n), "pong");
  SiClose(&s);
  SiClose(&c);
}

}  // namespace

// The socket layer's tables: codes, names, texts, constants, errno mapping, descriptor sets.
#include <netinet/in.h>
#include <sys/socket.h>

#include <random>
#include <string>
#include <tuple>

#include "si/sixx.h"
#include "zul_si.h"

namespace {

std::u16string Str(const ZUL_UTF16 *s) { return s != nullptr ? std::u16string(s) : u"(null)"; }

TEST(SiTables, CodesNamesAndTexts) {
  const std::tuple<int, const char16_t *, const char16_t *> rows[] = {
      {0, u"SI_OK", u"success"},
      {6, u"SI_ESYSCALL",
       u"socket function call failed, lastError value is set in SI_SOCK structure"},
      {8, u"SI_EPORT_INUSE", u"servive in use"},
      {9, u"(null)", u"(null)"},
      {15, u"SI_ENOTIMPL", u"platform does not support a implementation"},
      {17, u"SI_EMFILE", u"maximum for file descriptors reached"},
      {18, u"(null)", u"(null)"},
      {-1, u"(null)", u"(null)"},
  };
  for (auto [rc, name, text] : rows) {
    EXPECT_EQ(Str(SiGetSiErrorName(rc)), name) << rc;
    EXPECT_EQ(Str(SiGetSiErrorText(rc)), text) << rc;
  }
  EXPECT_EQ(Str(SiGetFuncName(46)), u"SiRecvSocket");
  EXPECT_EQ(Str(SiGetLibFuncName(46)), u"recvmsg, recv, close");
  EXPECT_EQ(Str(SiGetLibFuncName(1)), u"sigaction, sigaction");
  EXPECT_EQ(SiGetFuncName(47), nullptr);
  EXPECT_EQ(Str(SiGetFamilyName(10)), u"AF_INET6");
  EXPECT_EQ(SiGetFamilyName(0), nullptr);
  EXPECT_EQ(Str(SiGetTypeName(3)), u"SOCK_RAW");
  EXPECT_EQ(SiGetTypeName(4), nullptr);
}

TEST(SiTables, ErrorTextOfInternalValuesIsCutToTheBuffer) {
  ZUL_UTF16 buf[128];
  EXPECT_EQ(Str(SiGetErrorText(2050, buf, 128)),
            u"unexpected value retured from system call, which cause invalid internal status");
  EXPECT_EQ(Str(SiGetErrorText(2049, buf, 9)), u"protocol");
  EXPECT_FALSE(Str(SiGetErrorText(ECONNREFUSED, buf, 128)).empty());
}

// The constants whose values are not the obvious ones.
TEST(SiTables, Constants) {
  EXPECT_EQ(SI_SO_REUSEPORT, SO_REUSEADDR);
  EXPECT_EQ(SI_IPV6_V6ONLY, 0);
  EXPECT_EQ(SI_SO_EXCLUSIVEADDRUSE, 0);
  EXPECT_EQ(SI_IPV6_DROP_MEMBERSHIP, IPV6_DROP_MEMBERSHIP);
  EXPECT_EQ(SI_INADDR_LOOPBACK, htonl(INADDR_LOOPBACK));
  EXPECT_EQ(SiHtoNs(0x1234), htons(0x1234));
}

// Codes the kernel won't produce on demand, and the rules where calls differ.
TEST(SiTables, ErrnoMappingByCall) {
  using si::ErrMap;
  const std::tuple<ErrMap, int, int> rows[] = {
      {ErrMap::kPoll, ENOMEM, 13},          {ErrMap::kPoll, EBADF, 6},
      {ErrMap::kConnect, ENOENT, 10},       {ErrMap::kBind, ENOENT, 7},
      {ErrMap::kConnect, EACCES, 10},       {ErrMap::kBind, EACCES, 7},
      {ErrMap::kGetPeerName, ENOTCONN, 12}, {ErrMap::kShutdown, ENOTCONN, 1},
      {ErrMap::kRecv, ETIMEDOUT, 12},       {ErrMap::kSend, ETIMEDOUT, 6},
      {ErrMap::kSend, EMSGSIZE, 16},        {ErrMap::kSendTo, EHOSTUNREACH, 7},
      {ErrMap::kSend, EHOSTUNREACH, 6},     {ErrMap::kSocket, ENFILE, 17},
      {ErrMap::kAccept, ENOBUFS, 16},       {ErrMap::kConnect, EINPROGRESS, 11},
      {ErrMap::kSetSockOpt, ENODEV, 7},     {ErrMap::kGetSockOpt, EOPNOTSUPP, 1},
      {ErrMap::kSelect, EINVAL, 6},         {ErrMap::kDescriptor, ENOTSOCK, 2},
      {ErrMap::kSendSocket, EPIPE, 12},     {ErrMap::kRecvSocket, ENOTCONN, 1},
      {ErrMap::kRecvSocket, ENOMEM, 6},
  };
  for (auto [map, err, rc] : rows)
    EXPECT_EQ(si::MapErrno(map, err), rc) << static_cast<int>(map) << " " << err;
}

TEST(SiTables, PlatformInfo) {
  FILE *f = tmpfile();
  ASSERT_NE(f, nullptr);
  SiPrintPlatformInfo(f);
  rewind(f);
  std::string text(4096, '\0');
  text.resize(fread(text.data(), 1, text.size(), f));
  fclose(f);
  EXPECT_EQ(text,
            "Component name    : SI (socket interface)\nVersion           : 2\n"
            "Last modification : Sep 20 2004\n\n"
            "Platform          : AMD/Intel x86_64 with Linux\n                    64 bit\n"
            "                    little endian\n\nIPv6              : supported\n\n"
            "FD_SETSIZE        : 1024\nNFDBITS           : 64\nsizeof(fd_mask)   : 8\n"
            "sizeof(fd_set)    : 128\n\n");
}

// Random set and clear over the whole range and beyond, against a plain bit vector.
TEST(SiTables, DescriptorSetAgainstModel) {
  SI_FDSET set;
  SI_FD_ZERO(&set);
  std::vector<bool> model(32768);
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> fd(-2, 32770);
  for (int i = 0; i < 20000; ++i) {
    int n = fd(rng);
    bool in = n >= 0 && n < 32768;
    if (rng() & 1) {
      SI_FD_SET(n, &set);
      if (in) model[n] = true;
    } else {
      SI_FD_CLR(n, &set);
      if (in) model[n] = false;
    }
    ASSERT_EQ(SI_FD_ISSET(n, &set), in && model[n] ? 1 : 0) << n;
  }
  EXPECT_EQ(sizeof set, 4096u);
}

}  // namespace

// Global and profile parameters, the environment read at start and the IPv6 decision.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "ni/nixxi.h"
#include "zul_err.h"

namespace {

NI_PARAM_DATA Param(int no, int type, uint32_t v) {
  NI_PARAM_DATA d{};
  d.param = static_cast<uint8_t>(no);
  d.datatype = static_cast<uint8_t>(type);
  if (type == NI_DT_BOOL || type == NI_DT_RAW)
    d.value.raw_val = static_cast<uint8_t>(v);
  else if (type == NI_DT_USHORT)
    d.value.ushort_val = static_cast<uint16_t>(v);
  else
    d.value.uint_val = v;
  return d;
}

uint32_t ValueOf(const NI_PARAM_DATA &d) {
  if (d.datatype == NI_DT_BOOL || d.datatype == NI_DT_RAW) return d.value.raw_val;
  if (d.datatype == NI_DT_USHORT) return d.value.ushort_val;
  return d.value.uint_val;
}

class NiParams : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(NiInit3(8), ZUL_O_K);
    saved_ = ni::gParams;
  }
  void TearDown() override {
    ni::gParams = saved_;
    ni::gTraceAll = 0;
    NiExit();
  }
  ni::Params saved_;
};

TEST_F(NiParams, EachRowSetAndReadBack) {
  struct Row {
    int no, type;
    uint32_t set, read;
  } rows[] = {
      {NIP_PORTRANGE, NI_DT_BOOL, 1, 1},
      {NIP_MAXPORT, NI_DT_USHORT, 4000, 4000},
      {NIP_MINPORT, NI_DT_USHORT, 0, 1},
      {NIP_MINPORT, NI_DT_USHORT, 3000, 3000},
      {NIP_HSBUF_SIZE, NI_DT_UINT, 7, 7},
      {NIP_FRAGTEST, NI_DT_UINT, 9, 9},
      {NIP_CONNLOCAL, NI_DT_BOOL, 0, 0},
      {NIP_QUEUE_LEN, NI_DT_UINT, 3, 5},
      {NIP_QUEUE_LEN, 0, 50, 50},
      {NIP_QTEST, NI_DT_UINT, 0x0A32, 0x0A32},
      {NIP_QTEST, NI_DT_UINT, 0x0A00, 0},
      {NIP_QTEST, NI_DT_UINT, 0x0A65, 0},
      {NIP_QTEST, NI_DT_UINT, 0x0032, 0},
      {NIP_HSBUF_TRACE_LIMIT, NI_DT_RAW, 4, 4},
      {NIP_TRACE_ALL, NI_DT_BOOL, 1, 1},
      {NIP_INC_SERV_NO, NI_DT_BOOL, 1, 1},
      {NIP_CONT_IN_RANGE, NI_DT_BOOL, 0, 0},
      {NIP_POLL_TRACE_LIMIT, NI_DT_UINT, 3, 3},
      {NIP_BUF_MAX_HEAP, NI_DT_UINT, 1 << 20, 1 << 20},
  };
  for (const Row &r : rows) {
    NI_PARAM_DATA d = Param(r.no, r.type, r.set);
    ASSERT_EQ(NiSetParamEx(&d), ZUL_O_K) << r.no;
    NI_PARAM_DATA back = Param(r.no, r.type == 0 ? NI_DT_UINT : r.type, 0);
    ASSERT_EQ(NiGetParamEx(&back), ZUL_O_K) << r.no;
    // Unchecked types store into the union as given; the raw row reads its low byte.
    uint32_t got = r.type == NI_DT_RAW ? ValueOf(back) & 0xFF : ValueOf(back);
    EXPECT_EQ(got, r.read) << r.no << " " << r.set;
  }
  NI_PARAM_DATA v = Param(NIP_VERSION, NI_DT_UINT, 0);
  EXPECT_EQ(NiGetParamEx(&v), ZUL_O_K);
  EXPECT_EQ(v.value.uint_val, 40u);
  EXPECT_EQ(NiGetParam(NIP_VERSION), 40);
  EXPECT_EQ(NiSetParam(NIP_MINPORT, 0), ZUL_O_K);
  EXPECT_EQ(NiGetParam(NIP_MINPORT), 1);
  EXPECT_EQ(NiGetParam(NIP_HSBUF_OPCODE), -1);  // the extended form can't read it
}

TEST_F(NiParams, RefusalsSayWhy) {
  struct Row {
    int no, type;
    bool set;
    const char16_t *detail;
  } rows[] = {
      {0, NI_DT_UINT, true, u"NiSetParamEx: param 0"},
      {7, NI_DT_UINT, true, u"NiSetParamEx: param 7"},
      {8, NI_DT_UINT, false, u"NiGetParamEx: param 8 unknown"},
      {24, NI_DT_UINT, true, u"NiSetParamEx: param 24"},
      {255, NI_DT_UINT, true, u"NiSetParamEx: param 255"},
      {NIP_VERSION, NI_DT_UINT, true, u"NiSetParamEx: param 6 read only"},
      {NIP_HOSTBUF_TIMEOUT, NI_DT_UINT, false, u"NiGetParamEx: param 21 unknown"},
      {NIP_HSBUF_OPCODE, NI_DT_RAW, false, u"NiGetParamEx: param 4 unknown"},
      {NIP_PORTRANGE, NI_DT_UINT, true,
       u"NiSetParamEx: parameter invalid (pParamData->datatype != NI_DT_BOOL)"},
      {NIP_MAXPORT, NI_DT_BOOL, false,
       u"NiGetParamEx: parameter invalid (pParamData->datatype != NI_DT_USHORT)"},
      {NIP_UDS_PATH, NI_DT_UCPTR, true,
       u"NiSetParamEx: parameter invalid (pParamData->value.ucptr_val == NULL)"},
  };
  for (const Row &r : rows) {
    NI_PARAM_DATA d = Param(r.no, r.type, 0);
    d.value.ucptr_val = nullptr;
    ErrClear();
    EXPECT_EQ(r.set ? NiSetParamEx(&d) : NiGetParamEx(&d), NIEINVAL) << r.no;
    EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)), r.detail) << r.no;
  }
  EXPECT_EQ(NiSetParamEx(nullptr), NIEINVAL);
  NI_PARAM_DATA op = Param(NIP_HSBUF_OPCODE, NI_DT_RAW, 2);
  EXPECT_EQ(NiSetParamEx(&op), NIEINVAL);
  for (int no : {6, 11, 12, 18, 19, 255}) EXPECT_EQ(NiSetParam(no, 1), NIEINVAL) << no;
}

TEST_F(NiParams, SocketPathLimitAndCopy) {
  std::u16string path(104, u'p');
  NI_PARAM_DATA d = Param(NIP_UDS_PATH, NI_DT_UCPTR, 0);
  d.value.ucptr_val = path.data();
  EXPECT_EQ(NiSetParamEx(&d), ZUL_O_K);
  std::u16string longer(105, u'p');
  d.value.ucptr_val = longer.data();
  ErrClear();
  EXPECT_EQ(NiSetParamEx(&d), NIEINVAL);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)),
            u"NiSetParamEx: path too long for param NIP_UDS_PATH (105>=105)");
  char16_t buf[NI_UDS_PATH_LEN];
  d.value.ucptr_val = buf;
  ASSERT_EQ(NiGetParamEx(&d), ZUL_O_K);
  EXPECT_EQ(std::u16string(buf), path);
  NI_NODEADDR mine = NI_ADDR_LOCAL_I4_INIT;
  NI_PARAM_DATA a{};
  a.param = NIP_LOCAL_ADDR;
  a.datatype = NI_DT_NODEADDR;
  a.value.nodeaddr_val = mine;
  ASSERT_EQ(NiSetParamEx(&a), ZUL_O_K);
  a.value.nodeaddr_val = NI_NODEADDR{};
  ASSERT_EQ(NiGetParamEx(&a), ZUL_O_K);
  EXPECT_EQ(a.value.nodeaddr_val.addr[15], 1);
}

TEST_F(NiParams, ProfileValues) {
  struct Row {
    const char16_t *name, *value;
    int rc;
  } rows[] = {
      {u"is/socket_buffer_size", u"32768", ZUL_O_K},
      {u"is/socket_buffer_size", u"65536", ZUL_O_K},
      {u"is/socket_buffer_size", u"40000", NIEINVAL},
      {u"is/hostbuffer_timeout_valid_entry", u"86400", ZUL_O_K},
      {u"is/hostbuffer_timeout_valid_entry", u"86401", NIEINVAL},
      {u"is/hostbuffer_timeout_invalid_entry", u"0", ZUL_O_K},
      {u"is/hostbuffer_timeout_invalid_entry", u"x5", NIEINVAL},
      {u"is/hostbuffer_timeout_invalid_entry", u"", NIEINVAL},
      {u"is/other", u"5", NIEINVAL},
  };
  for (const Row &r : rows) {
    EXPECT_EQ(NiTestPfParam(r.name, r.value), r.rc) << std::string(r.value, r.value + 0);
    EXPECT_EQ(NiSetPfParam(r.name, r.value), r.rc);
  }
  EXPECT_EQ(ni::gParams.socketBufferSize, 65536u);
  EXPECT_EQ(ni::gParams.hostBufTimeoutInvalid, 0u);
  std::u16string big(256, u'1');
  ErrClear();
  EXPECT_EQ(NiTestPfParam(u"is/socket_buffer_size", big.c_str()), NIEINVAL);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)),
            u"NiTestPfParam: bad value (length 256 >= 256)");
}

TEST(NiIPv6Decision, NeedsARealAddressAndLoopbackOnUpInterfaces) {
  const NI_NODEADDR loop = {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}};
  const NI_NODEADDR real = {{0xfd, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}};
  const NI_NODEADDR mapped = NI_ADDR_LOCAL_I4_INIT;
  struct Row {
    NI_NODEADDR a[3];
    uint8_t up[3];
    int n;
    bool usable;
  } rows[] = {
      {{real, loop}, {1, 1}, 2, true},
      {{real, loop}, {1, 0}, 2, false},
      {{real, mapped}, {1, 1}, 2, false},
      {{loop, mapped}, {1, 1}, 2, false},
      {{mapped, loop, real}, {1, 1, 1}, 3, true},
      {{}, {}, 0, false},
  };
  for (const Row &r : rows) EXPECT_EQ(ni::IPv6Usable(r.a, r.up, r.n), r.usable) << r.n;
}

// Runs a start in a child with the environment given; answers the protocol mask, plus 8 when
// connects are restricted to local addresses, or -1.
int ChildStart(const char *active, const char *useV6, const char *restriction) {
  pid_t pid = fork();
  if (pid == 0) {
    unsetenv("ZUL_IPv6_ACTIVE");
    unsetenv("NI_USEIPv6");
    unsetenv("ZUL_CONNECT_RESTRICTION");
    if (active != nullptr) setenv("ZUL_IPv6_ACTIVE", active, 1);
    if (useV6 != nullptr) setenv("NI_USEIPv6", useV6, 1);
    if (restriction != nullptr) setenv("ZUL_CONNECT_RESTRICTION", restriction, 1);
    if (NiInit() != ZUL_O_K) _exit(100);
    bool anyIsV6 = NI_ADDR_ANY_INIT.addr[10] == 0;
    if (anyIsV6 != (NiIsIPv6Activated() == 1)) _exit(101);
    _exit(ni::gUseIpProto + (ni::gConnectLocal ? 8 : 0));
  }
  int status = 0;
  for (int i = 0; i < 1000 && waitpid(pid, &status, WNOHANG) == 0; ++i) usleep(10000);
  if (!WIFEXITED(status)) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return -1;
  }
  return WEXITSTATUS(status);
}

TEST(NiEnvironment, DecidesProtocolsOnceAtStart) {
  EXPECT_EQ(ChildStart(nullptr, nullptr, nullptr), 2);
  EXPECT_EQ(ChildStart("0", "1", nullptr), 2);        // NI_USEIPv6 counts only without the other
  EXPECT_EQ(ChildStart("yes", nullptr, nullptr), 2);  // traced, IPv4 only
  EXPECT_EQ(ChildStart(nullptr, nullptr, "LOCAL"), 2 + 8);
  EXPECT_EQ(ChildStart(nullptr, nullptr, "REMOTE"), 2);
  // IPv6 is taken only where the machine has both addresses; either way the constants agree.
  for (int rc : {ChildStart("1", nullptr, nullptr), ChildStart(nullptr, "", nullptr)})
    EXPECT_TRUE(rc == 2 || rc == 6) << rc;
}

}  // namespace

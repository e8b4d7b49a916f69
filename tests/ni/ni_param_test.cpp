// Global and profile parameters, the environment read at start and the IPv6 decision.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>

#include "ni/nixxi.h"
#include "ni_conn.h"
#include "zul_err.h"

namespace {

using ni_test::Param;

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

// The rows where the value read back differs from the one set, or the type is not the listed one.
TEST_F(NiParams, SetAndReadBackWhereTheValueChanges) {
  const std::tuple<int, int, uint32_t, uint32_t> rows[] = {
      {NIP_MINPORT, NI_DT_USHORT, 0, 1},        {NIP_MAXPORT, NI_DT_USHORT, 4000, 4000},
      {NIP_QUEUE_LEN, NI_DT_UINT, 3, 5},        {NIP_QUEUE_LEN, 0, 50, 50},
      {NIP_QTEST, NI_DT_UINT, 0x0A32, 0x0A32},  {NIP_QTEST, NI_DT_UINT, 0x0A00, 0},
      {NIP_QTEST, NI_DT_UINT, 0x0A65, 0},       {NIP_QTEST, NI_DT_UINT, 0x0032, 0},
      {NIP_HSBUF_TRACE_LIMIT, NI_DT_RAW, 4, 4}, {NIP_TRACE_ALL, NI_DT_BOOL, 1, 1},
  };
  for (auto [no, type, set, read] : rows) {
    NI_PARAM_DATA d = Param(no, type, set);
    ASSERT_EQ(NiSetParamEx(&d), ZUL_O_K) << no;
    NI_PARAM_DATA back = Param(no, type == 0 ? NI_DT_UINT : type, 0);
    ASSERT_EQ(NiGetParamEx(&back), ZUL_O_K) << no;
    // Unchecked types store into the union as given; the raw row reads its low byte.
    uint32_t got = type == NI_DT_RAW || type == NI_DT_BOOL ? back.value.raw_val
                   : type == NI_DT_USHORT                  ? back.value.ushort_val
                                                           : back.value.uint_val;
    EXPECT_EQ(got, read) << no << " " << set;
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
  const std::tuple<int, int, bool, const char16_t *> rows[] = {
      {0, NI_DT_UINT, true, u"NiSetParamEx: param 0"},
      {8, NI_DT_UINT, false, u"NiGetParamEx: param 8 unknown"},
      {24, NI_DT_UINT, true, u"NiSetParamEx: param 24"},
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
  for (auto [no, type, set, detail] : rows) {
    NI_PARAM_DATA d = Param(no, type, 0);
    d.value.ucptr_val = nullptr;
    ErrClear();
    EXPECT_EQ(set ? NiSetParamEx(&d) : NiGetParamEx(&d), NIEINVAL) << no;
    EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)), detail) << no;
  }
  EXPECT_EQ(NiSetParamEx(nullptr), NIEINVAL);
  NI_PARAM_DATA op = Param(NIP_HSBUF_OPCODE, NI_DT_RAW, 2);
  EXPECT_EQ(NiSetParamEx(&op), NIEINVAL);
  for (int no : {6, 11, 12, 18, 19, 255}) EXPECT_EQ(NiSetParam(no, 1), NIEINVAL) << no;
}

TEST_F(NiParams, SocketPathLimitAndCopy) {
  std::u16string path(104, u'p'), longer(105, u'p');
  NI_PARAM_DATA d = Param(NIP_UDS_PATH, NI_DT_UCPTR, 0);
  d.value.ucptr_val = path.data();
  EXPECT_EQ(NiSetParamEx(&d), ZUL_O_K);
  d.value.ucptr_val = longer.data();
  ErrClear();
  EXPECT_EQ(NiSetParamEx(&d), NIEINVAL);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)),
            u"NiSetParamEx: path too long for param NIP_UDS_PATH (105>=105)");
  char16_t buf[NI_UDS_PATH_LEN];
  d.value.ucptr_val = buf;
  ASSERT_EQ(NiGetParamEx(&d), ZUL_O_K);
  EXPECT_EQ(std::u16string(buf), path);
}

TEST_F(NiParams, ProfileValues) {
  const std::tuple<const char16_t *, const char16_t *, int> rows[] = {
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
  for (auto [name, value, rc] : rows) {
    EXPECT_EQ(NiTestPfParam(name, value), rc) << std::u16string(value).size();
    EXPECT_EQ(NiSetPfParam(name, value), rc) << std::u16string(value).size();
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
  for (const Row &r : rows) EXPECT_EQ(ni::IPv6Usable(r.a, r.up, r.n), r.usable) << &r - rows;
}

// A start in a child with the environment given: the protocol mask, plus 8 when connects are
// restricted to local addresses.
int ChildStart(const char *active, const char *useV6, const char *restriction) {
  return ni_test::InChild([=] {
    const char *names[] = {"ZUL_IPv6_ACTIVE", "NI_USEIPv6", "ZUL_CONNECT_RESTRICTION"};
    const char *values[] = {active, useV6, restriction};
    for (int i = 0; i < 3; ++i)
      values[i] != nullptr ? setenv(names[i], values[i], 1) : unsetenv(names[i]);
    if (NiInit() != ZUL_O_K) return 100;
    bool anyIsV6 = NI_ADDR_ANY_INIT.addr[10] == 0;
    if (anyIsV6 != (NiIsIPv6Activated() == 1)) return 101;
    return ni::gUseIpProto + (ni::gConnectLocal ? 8 : 0);
  });
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

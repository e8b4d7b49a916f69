// Host and service caches: seeded entries against both host cache kinds, the batch overflow and
// the oldest-first eviction, dumps byte for byte, services, refusals, the preference rules, the
// local address test and the environment read at start. System look-ups are counted by the OS
// layer; names that no one knows live under .invalid and are asked only in forked children.
#include <gtest/gtest.h>
#include <resolv.h>

#include <cstring>
#include <string>
#include <tuple>

#include "ni/nixxhs.h"
#include "ni/nixxi.h"
#include "ni_conn.h"
#include "zul_err.h"

namespace nihs {

uint64_t Lookups() { return ni::gSysLookups.load(); }

std::string Text(const NI_NODEADDR &a) {
  char buf[NI_NODEADDR_STR_LEN];
  ni::AddrText(a, buf, sizeof buf);
  return buf;
}

std::u16string Detail() { return ErrGetFld(ERR_FLD_DETAIL); }
int SetUint(int no, uint32_t v) { return ni_test::SetParam(no, NI_DT_UINT, v); }

// Runs body in a forked child that starts the library afresh after setting name=value; the
// child's failures print there and decide its exit status.
void InChild(const char *name, const char *value, const std::function<void()> &body) {
  EXPECT_EQ(ni_test::InChild([&] {
              while (ni::gUseCount > 0) NiExit();
              setenv(name, value, 1);
              res_init();  // the resolver reads RES_OPTIONS when it starts
              body();
              return ::testing::Test::HasFailure() ? 1 : 0;
            }),
            0);
}

// The library started, with the host cache of the kind asked for installed afresh.
class NiHostCache : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    ASSERT_EQ(NiInit3(8), ZUL_O_K);
    NI_NODEADDR loop;
    NiGetLoopbackAddr(&loop);  // resolved once per process: not counted below
    NiIHSBufRelease();
    NIHIMPL *host = GetParam() ? static_cast<NIHIMPL *>(new NIHIMPL_LINEAR6)
                               : static_cast<NIHIMPL *>(new NIHIMPL_LINEAR);
    auto *serv = new NISIMPL_LINEAR;
    ASSERT_EQ(host->init(100, 86400, 600, 600), ZUL_O_K);
    ASSERT_EQ(serv->init(100, 86400, 600, 600), ZUL_O_K);
    ASSERT_EQ(NiIHSBufInit2(host, serv), ZUL_O_K);
  }
  void TearDown() override { NiExit(); }
  bool v6() const { return GetParam(); }
};

// Both directions: by name the seed's address answers, by address the seed's name.
TEST_P(NiHostCache, SeededEntriesAgainstTimeOutsAndModes) {
  struct Row {
    bool byAddr;
    int seedType, age, mode, rc, rc6;  // of the IPv4 and the IPv4/IPv6 cache
    const char *answer;
    int lookups, lookups6;
  } rows[] = {
      {false, 8, 0, 0, ZUL_O_K, ZUL_O_K, "10.1.2.3", 0, 0},   // fresh: no system call
      {false, 8, 5, 0, ZUL_O_K, ZUL_O_K, "127.0.0.1", 1, 1},  // older than the valid time-out
      {false, 2, 0, 0, NIEHOST_UNKNOWN, NIEHOST_UNKNOWN, "", 0, 0},  // negative, by itself
      {false, 2, 5, 0, ZUL_O_K, ZUL_O_K, "127.0.0.1", 1, 1},         // until it expires
      {false, 8, 0, 2, ZUL_O_K, ZUL_O_K, "127.0.0.1", 1, 1},         // bypass
      {false, 0, 0, 1, NIEHOST_UNKNOWN, ZUL_O_K, "", 0, 1},  // cache only: not after a miss in I6
      {false, 8, 5, 1, NIEHOST_UNKNOWN, ZUL_O_K, "", 0, 1},
      {true, 4, 0, 0, ZUL_O_K, ZUL_O_K, "seeded", 0, 0},
      {true, 4, 5, 0, ZUL_O_K, ZUL_O_K, "localhost", 1, 1},
      {true, 1, 0, 0, NIEHOST_UNKNOWN, NIEHOST_UNKNOWN, "127.0.0.1", 0, 0},
      {true, 1, 5, 1, NIEHOST_UNKNOWN, ZUL_O_K, "", 0, 1},
  };
  // The answer of one look-up in the row's direction, "" when there is none to compare.
  auto lookUp = [&](const Row &r, int mode, int *rc) -> std::string {
    NI_NODEADDR a;
    char16_t name[NI_MAX_HOSTNAME_LEN];
    if (!r.byAddr) {
      *rc = NiIGetNodeAddr(u"localhost", 0, &a, mode, nullptr);
      return *rc == ZUL_O_K ? Text(a) : "";
    }
    *rc = NiIGetHostName(&NI_ADDR_LOCAL_I4_INIT, name, NI_MAX_HOSTNAME_LEN, 1, mode, nullptr);
    return *rc == ZUL_O_K || mode == 0
               ? std::string(name, name + std::char_traits<char16_t>::length(name))
               : "";
  };
  for (const Row &r : rows) {
    ASSERT_EQ(NiIHSBufFlush(), ZUL_O_K);
    ASSERT_EQ(SetUint(NIP_HOSTBUF_TIMEOUT, 2), ZUL_O_K);
    ASSERT_EQ(SetUint(NIP_HOSTBUF_TIMEOUT_INVALID, 2), ZUL_O_K);
    const char16_t *name = r.byAddr ? u"seeded" : u"localhost";
    const char16_t *addr = r.byAddr ? u"127.0.0.1" : u"10.1.2.3";
    if (r.seedType != 0) {
      ASSERT_EQ(NiISetHBufEntry(2, name, addr, r.seedType, time(nullptr) - r.age), ZUL_O_K);
    }
    uint64_t before = Lookups();
    int rc = -1, row = &r - rows;
    std::string answer = lookUp(r, r.mode, &rc);
    ASSERT_EQ(rc, v6() ? r.rc6 : r.rc) << row;
    EXPECT_EQ(Lookups() - before, static_cast<uint64_t>(v6() ? r.lookups6 : r.lookups)) << row;
    if (*r.answer != '\0') {
      EXPECT_EQ(answer, r.answer) << row;
    }
    // Whatever the system answered is cached now.
    before = Lookups();
    if (r.mode == 0 && rc == ZUL_O_K) {
      EXPECT_EQ(lookUp(r, 0, &rc), answer) << row;
    }
    EXPECT_EQ(Lookups(), before) << row;
  }
}

TEST_P(NiHostCache, FullCacheEmptiesOrGivesUpTheOldest) {
  ASSERT_EQ(SetUint(NIP_HSBUF_SIZE, 3), ZUL_O_K);
  time_t now = time(nullptr);
  ASSERT_EQ(NiISetHBufEntry(2, u"a", u"10.0.0.1", 8, now - 20), ZUL_O_K);
  ASSERT_EQ(NiISetHBufEntry(2, u"b", u"10.0.0.2", 8, now - 10), ZUL_O_K);
  NI_NODEADDR a;
  ASSERT_EQ(NiIGetNodeAddr(u"localhost", 0, &a, 0, nullptr), ZUL_O_K);
  if (!v6()) {
    // The third new entry reached the size: nothing is left, not even the newest.
    EXPECT_EQ(NiISetHostInvalid(u"a", nullptr), NIEHOST_UNKNOWN);
    EXPECT_EQ(NiISetHostInvalid(u"localhost", nullptr), NIEHOST_UNKNOWN);
    return;
  }
  // A fourth entry takes the place of the oldest.
  char16_t name[NI_MAX_HOSTNAME_LEN];
  ASSERT_EQ(NiIGetHostName(&NI_ADDR_LOCAL_I4_INIT, name, NI_MAX_HOSTNAME_LEN, 1, 0, nullptr), 0);
  EXPECT_EQ(NiISetHostInvalid(u"a", nullptr), NIEHOST_UNKNOWN);
  EXPECT_EQ(NiISetHostInvalid(u"b", nullptr), ZUL_O_K);
  EXPECT_EQ(NiISetHostInvalid(u"localhost", nullptr), ZUL_O_K);
}

INSTANTIATE_TEST_SUITE_P(Kinds, NiHostCache, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "I6" : "I4"; });

class NiHSLayer : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(NiInit3(8), ZUL_O_K);
    ASSERT_EQ(NiIHSBufFlush(), ZUL_O_K);
    NI_NODEADDR loop;
    NiGetLoopbackAddr(&loop);  // resolved once per process: not counted below
  }
  void TearDown() override { NiExit(); }
};

TEST_F(NiHSLayer, DumpsByteForByte) {
  time_t now = time(nullptr);
  ASSERT_EQ(NiISetHBufEntry(2, u"host-a", u"10.0.0.1", 8, now), ZUL_O_K);
  ASSERT_EQ(NiISetHBufEntry(2, u"host-r", u"10.0.0.2", 4, now), ZUL_O_K);
  ASSERT_EQ(NiISetHBufEntry(2, u"gone", nullptr, 2, now), ZUL_O_K);
  ASSERT_EQ(NiISetHBufEntry(2, nullptr, u"10.0.0.4", 1, now), ZUL_O_K);
  ASSERT_EQ(NiISetHBufEntry(2, u"", u"10.0.0.5", 12, now), ZUL_O_K);
  ASSERT_EQ(NiISetHBufEntry(2, u"host-a", u"10.0.0.9", 0, now), ZUL_O_K);  // updates, type kept
  uint16_t port;
  ASSERT_EQ(NiServToNo(u"http", &port), ZUL_O_K);
  ASSERT_EQ(NiServToNo(u"nosuchserv", &port), NIESERV_UNKNOWN);
  const std::u16string want =
      u"---------------------------------------------\n"
      u"#   status  t address IPv4    hostname\n"
      u"---------------------------------------------\n"
      u"0   VALID   A 10.0.0.9        host-a\n"
      u"1   VALID   R 10.0.0.2        host-r\n"
      u"2   UNKNOWN   <unknown>       gone\n"
      u"3   UNKNOWN   10.0.0.4        <unknown>\n"
      u"4   VALID     10.0.0.5        <empty>\n"
      u"\n---------------------------------------\n"
      u"#   status  port        service\n"
      u"---------------------------------------\n"
      u"0   VALID   80          http\n"
      u"1   UNKNOWN <unknown>   nosuchserv\n";
  std::vector<ZUL_UTF16> buf(want.size() + 1);
  int len = static_cast<int>(buf.size()), done = -1;
  ASSERT_EQ(NiHBufPrintBuf(buf.data(), &len, &done), ZUL_O_K);
  EXPECT_EQ(done, 1);
  EXPECT_EQ(std::u16string(buf.data()), want);
  len = static_cast<int>(want.size());  // one unit short: the terminator doesn't fit
  ASSERT_EQ(NiHBufPrintBuf(buf.data(), &len, &done), ZUL_O_K);
  EXPECT_EQ(done, 0);
  EXPECT_LT(len, static_cast<int>(want.size()));
  ZUL_UTF16 *all = nullptr;
  ASSERT_EQ(NiHSBufGetAll(&all, &len), ZUL_O_K);
  std::u16string machine(all, static_cast<size_t>(len));
  free(all);
  EXPECT_EQ(machine.substr(0, machine.find(u'\n') + 1),
            u"0\tVALID\tA\t10.0.0.9\thost-a\tvalid-name\n");
  EXPECT_NE(machine.find(u"4\tVALID\t \t10.0.0.5\t<empty>\t12\n"), std::u16string::npos);
  EXPECT_NE(machine.find(u"1\tUNKNOWN\t<unknown>\tnosuchserv\n"), std::u16string::npos);
  // Seeds are checked; a full cache takes none.
  EXPECT_EQ(NiISetHBufEntry(2, u"x", u"10.0.0.1", 3, now), NIEINVAL);
  EXPECT_EQ(Detail(), u"NIHIMPL::setHostEntry: Entrytype invalid '3'");
  EXPECT_EQ(NiISetHBufEntry(2, u"x", u"1.2.3", 8, now), NIEINVAL);
  EXPECT_EQ(Detail(), u"NIHIMPL::setHostEntry: address invalid '1.2.3'");
  EXPECT_EQ(NiISetHBufEntry(1, u"x", u"10.0.0.1", 8, now), NIEINVAL);
}

TEST_F(NiHSLayer, ServicesDigitsNamesAndNumbers) {
  // Name, code, port, look-ups of a first and of a second call.
  const std::tuple<const char16_t *, int, int, int, int> rows[] = {
      {u"12345", ZUL_O_K, 12345, 0, 0},
      {u"0", ZUL_O_K, 0, 0, 0},
      {u"12345x", NIESERV_UNKNOWN, 0, 1, 0},
      {u"http", ZUL_O_K, 80, 1, 0},
      {u"aaaaaaaaaaaaaaaaaaa", NIESERV_UNKNOWN, 0, 1, 0},   // 19 units: cached
      {u"aaaaaaaaaaaaaaaaaaaa", NIESERV_UNKNOWN, 0, 1, 1},  // 20 units: never cached
      {u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", NIESERV_UNKNOWN, 0, 1, 1},
      {u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", NIEINVAL, 0, 0, 0},  // 32 units
      {u"", NIESERV_UNKNOWN, 0, 0, 0},
  };
  for (auto [name, rc, wantPort, lookups, again] : rows) {
    for (int call = 0; call < 2; ++call) {
      uint16_t port = 7;
      uint64_t before = Lookups();
      ASSERT_EQ(NiServToNo(name, &port), rc) << std::u16string(name).size();
      EXPECT_EQ(Lookups() - before, static_cast<uint64_t>(call == 0 ? lookups : again));
      if (rc == ZUL_O_K) {
        EXPECT_EQ(port, wantPort);
      }
    }
  }
  char16_t buf[NI_MAX_SERVNAME_LEN];
  EXPECT_EQ(NiNoToServ2(80, buf, NI_MAX_SERVNAME_LEN), ZUL_O_K);
  EXPECT_EQ(std::u16string(buf), u"http");
  uint64_t before = Lookups();
  EXPECT_EQ(NiNoToServ2(80, buf, 4), NIETOO_SMALL);  // cached, but doesn't fit
  EXPECT_EQ(Lookups(), before);
  for (uint64_t lookups : {1u, 0u}) {  // an unknown port is cached as such too
    before = Lookups();
    EXPECT_EQ(NiNoToServ2(64999, buf, NI_MAX_SERVNAME_LEN), NIESERV_UNKNOWN);
    EXPECT_EQ(std::u16string(buf), u"64999");  // something to print all the same
    EXPECT_EQ(Lookups() - before, lookups);
  }
}

TEST_F(NiHSLayer, RefusalsQuoteTheirCondition) {
  std::u16string n64(64, u'a');
  struct Row {
    int form;  // 1, 2 or 3: NiHostToAddr, NiHostToAddr2, NiHostToAddr3
    const char16_t *host;
    int protocol, rc;
    const char16_t *detail;
  } rows[] = {
      {1, u"/H/x/S/1", 0, NIEHOST_UNKNOWN, u"NiHostToAddr: hostname  '/H/x/S/1' unknown"},
      {3, u"/H/x", 0, NIEHOST_UNKNOWN, u"NiHostToAddr3: hostname  '/H/x' unknown"},
      {1, n64.c_str(), 0, NIEINVAL,
       u"NiHostToAddr: parameter invalid (strlenU(pHostName) >= NI_MAX_HOSTNAME_LEN)"},
      {3, u"localhost", 8, NIEINVAL,
       u"NiHostToAddr3: parameter invalid (protocol 8 not in {0, 2, 4, 6})"},
      {2, u"localhost", 6, NIEINVAL, nullptr},
      {1, u"::1", 0, NIEINVAL, u"NiIGetNodeAddr: invalid address passed (::1) IPv6 not active"},
      {2, u"::1", 2, NIEINVAL, u"NiIGetNodeAddr: invalid IPv4 address passed (::1)"},
      {2, u"10.0.0.1", 4, NIEINVAL, u"NiIGetNodeAddr: invalid IPv6 address passed (10.0.0.1)"},
      {2, u"localhost", 4, NIEHOST_UNKNOWN, nullptr},  // the IPv4 cache has no IPv6 answer
      {1, nullptr, 0, ZUL_O_K, nullptr},
      {2, u"10.0.0.1", 2, ZUL_O_K, nullptr},
  };
  for (const Row &r : rows) {
    NI_NODEADDR a;
    NI_NODEADDR *list = nullptr;
    int count = 0;
    ErrClear();
    uint64_t before = Lookups();
    int rc = r.form == 1   ? NiHostToAddr(r.host, &a)
             : r.form == 2 ? NiHostToAddr2(r.host, r.protocol, &a)
                           : NiHostToAddr3(r.host, r.protocol, &list, &count);
    int row = static_cast<int>(&r - rows);
    EXPECT_EQ(rc, r.rc) << row;
    if (r.detail != nullptr) {
      EXPECT_EQ(Detail(), r.detail) << row;
    }
    if (r.rc != NIEHOST_UNKNOWN || r.form != 2) {
      EXPECT_EQ(Lookups(), before) << row;
    }
    EXPECT_EQ(list, nullptr);
  }
  NI_NODEADDR a;
  EXPECT_EQ(NiHostToAddr(nullptr, &a), ZUL_O_K);
  EXPECT_EQ(Text(a), "127.0.0.1");
  NI_NODEADDR *list = nullptr;
  int count = 0;
  ASSERT_EQ(NiHostToAddr3(u"localhost", 0, &list, &count), ZUL_O_K);
  ASSERT_GE(count, 1);
  EXPECT_EQ(Text(list[0]), "127.0.0.1");
  free(list);
}

TEST_F(NiHSLayer, NamesOfAddressesAndOfThisMachine) {
  EXPECT_EQ(std::u16string(NiAddrToHost(&NI_ADDR_LOCAL_I4_INIT)), u"localhost");
  EXPECT_EQ(std::u16string(NiAddrToHost(&NI_ADDR_ANY_I4_INIT)), u"0.0.0.0");
  EXPECT_EQ(std::u16string(NiAddrToHost(nullptr)), u"localhost");
  char16_t buf[NI_MAX_HOSTNAME_LEN];
  EXPECT_EQ(NiAddrToHost2(&NI_ADDR_LOCAL_I4_INIT, nullptr, 9), NIEINVAL);
  EXPECT_EQ(NiAddrToHost2(&NI_ADDR_LOCAL_I4_INIT, buf, -1), NIEINVAL);
  EXPECT_EQ(NiAddrToHost2(&NI_ADDR_LOCAL_I4_INIT, buf, 9), NIETOO_SMALL);
  EXPECT_EQ(Detail(), u"NIHIMPL_LINEAR::getHostName: buffer too small for 'localhost' (9<10)");
  // The IPv4 cache holds no IPv6 address; the number stands in the buffer.
  EXPECT_EQ(NiAddrToHost2(&NI_ADDR_LOCAL_I6_INIT, buf, NI_MAX_HOSTNAME_LEN), NIEINVAL);
  EXPECT_EQ(std::u16string(buf), u"::1");
  ASSERT_EQ(NiMyHostName(buf, NI_MAX_HOSTNAME_LEN), ZUL_O_K);
  char own[NI_MAX_HOSTNAME_LEN];
  ASSERT_EQ(gethostname(own, sizeof own), 0);
  EXPECT_EQ(std::u16string(buf), std::u16string(own, own + strlen(own)));
  EXPECT_EQ(NiMyHostName(buf, static_cast<int>(strlen(own))), NIETOO_SMALL);
  char16_t fqdn[256];
  ZUL_UTF16 *domain = fqdn;
  ASSERT_EQ(NiGetOwnFQDN(fqdn, 256, &domain), ZUL_O_K);
  if (domain != nullptr) {
    EXPECT_EQ(domain[-1], u'.');
  }
}

TEST_F(NiHSLayer, LocalCheckBindsInsteadOfKeepingATable) {
  NI_NODEADDR testNet;  // 192.0.2.1, documentation only: never this machine's
  ASSERT_EQ(NiStrToAddr(u"192.0.2.1", &testNet), ZUL_O_K);
  for (const NI_NODEADDR *a : {&NI_ADDR_LOCAL_I4_INIT, &NI_ADDR_LOCAL_I6_INIT})
    EXPECT_EQ(NiLocalCheck(a), 1);
  const NI_NODEADDR *others[] = {&NI_ADDR_ANY_I4_INIT, &NI_ADDR_ANY_I6_INIT, &testNet, nullptr};
  for (const NI_NODEADDR *a : others) EXPECT_EQ(NiLocalCheck(a), 0);
  NI_NODEADDR addrs[32];
  int count = 0;
  ASSERT_EQ(NiGetNodeAddrList(addrs, 32, &count), ZUL_O_K);
  for (int i = 0; i < count && i < 32; ++i) EXPECT_EQ(NiLocalCheck(&addrs[i]), 1) << Text(addrs[i]);
  uint8_t macs[8 * NI_MAC_ADDR_LEN];
  EXPECT_EQ(NiGetMacAddrList(macs, 8, &count), ZUL_O_K);
}

TEST_F(NiHSLayer, ParametersReachTheCaches) {
  ASSERT_EQ(NiISetHBufEntry(2, u"seeded", u"10.0.0.1", 8, 0), ZUL_O_K);
  EXPECT_EQ(ni_test::SetParam(NIP_HSBUF_OPCODE, NI_DT_RAW, 0), ZUL_O_K);  // print to the trace
  EXPECT_EQ(ni_test::SetParam(NIP_HSBUF_OPCODE, NI_DT_RAW, 1), ZUL_O_K);  // flush
  EXPECT_EQ(NiISetHostInvalid(u"seeded", nullptr), NIEHOST_UNKNOWN);
  EXPECT_EQ(NiSetHostBufTimeoutInvalid(86400), ZUL_O_K);
  EXPECT_EQ(NiSetHostBufTimeoutInvalid(86401), NIEINVAL);
  // A clock of the caller's and a trace limit: a slow look-up is timed by that clock.
  static std::atomic<int> ticks{0};
  NI_HSBUF_TIME_FUNC clock = [] { return static_cast<uint64_t>(++ticks) * 1000000; };
  NI_PARAM_DATA f{NIP_HSBUF_TIME_FUNC, NI_DT_VOIDPTR, {}};
  f.value.voidptr_val = reinterpret_cast<void *>(clock);
  ASSERT_EQ(NiSetParamEx(&f), ZUL_O_K);
  ASSERT_EQ(SetUint(NIP_HSBUF_TRACE_LIMIT, 1), ZUL_O_K);
  NI_NODEADDR a;
  ASSERT_EQ(NiIGetNodeAddr(u"localhost", 0, &a, NIHS_MODE_NOBUF, nullptr), ZUL_O_K);
  EXPECT_EQ(ticks.load(), 2);
  f.value.voidptr_val = nullptr;
  EXPECT_EQ(NiSetParamEx(&f), ZUL_O_K);
}

TEST(NiAddrPolicy, RulesAreReadSortedAndBounded) {
  std::string many;
  for (int i = 0; i < 21; ++i)
    many += "10." + std::to_string(i) + ".0.0/16," + std::to_string(i) + ";";
  std::string longRule = "0000:0000:0000:0000:0000:0000:0000:0000/0," + std::string(14, '0');
  ASSERT_EQ(longRule.size(), 56u);
  // The text and the prefixes of the rows read, in table order.
  const std::pair<std::string, std::vector<int>> rows[] = {
      {"fd00::/8,100;::/0,10", {8, 0}},
      {"::/0,10;fd00::/8,100;10.0.0.0/8,5;fe80::/10,1", {104, 10, 8, 0}},
      {"fd00::/8,1001;::/0,10", {0}},  // precedence 1001: that rule only is skipped
      {"fd00::/129,1;::/0,10", {0}},
      {"fd00::,1;fd00::/8;x/8,1;::/0,-1;::/0,10", {0}},
      {longRule + ";::/0,10", {0}},
      {many, std::vector<int>(20, 112)},
  };
  for (const auto &[text, prefixes] : rows) {
    PREFPOL table[NI_PREFPOL_ROWS];
    int n = NiIParseAddrPolicy(text.c_str(), table, NI_PREFPOL_ROWS);
    std::vector<int> got;
    for (int i = 0; i < n; ++i) got.push_back(table[i].prefixLen);
    EXPECT_EQ(got, prefixes) << text.substr(0, 60);
  }
}

TEST(NiAddrPolicy, PreferenceWhateverTheSystemsOrder) {
  PREFPOL table[NI_PREFPOL_ROWS];
  ASSERT_EQ(NiIParseAddrPolicy("fd00::/8,100;::/0,10", table, NI_PREFPOL_ROWS), 2);
  NI_NODEADDR ula, global, v4;
  ASSERT_EQ(NiStrToAddr(u"fd00::2", &ula), ZUL_O_K);
  ASSERT_EQ(NiStrToAddr(u"2001:db8::1", &global), ZUL_O_K);
  ASSERT_EQ(NiStrToAddr(u"10.0.0.1", &v4), ZUL_O_K);
  NI_NODEADDR a[] = {global, ula, v4}, b[] = {ula, global, v4};
  EXPECT_EQ(NiIApplyAddrPolicy(a, 3, 0, table, 2), 1);
  EXPECT_EQ(NiIApplyAddrPolicy(b, 3, 0, table, 2), 0);
  EXPECT_EQ(NiIApplyAddrPolicy(a, 3, NI_PROTO_FAM_IPv4, table, 2), 2);  // only v4 may win
  ASSERT_EQ(NiIParseAddrPolicy("fd00::/8,100", table, NI_PREFPOL_ROWS), 1);
  EXPECT_EQ(NiIApplyAddrPolicy(a, 1, 0, table, 1), -1);  // the system's first address stands
}

TEST(NiIfInet6, LineParser) {
  const std::tuple<const char *, int, const char *, const char *> rows[] = {
      {"00000000000000000000000000000001 01 80 10 80       lo\n", 1, "::1", "lo"},
      {"fe8000000000000000fc00fffe000001 04 40 20 80     eth0", 1, "fe80::fc:ff:fe00:1", "eth0"},
      {"fd000000000000000000000000000002 04 40 00 82 abcdefghijklmnopqrstuvwxyz", 1, "fd00::2",
       "abcdefghijklmnopqrst"},
      {"00000000000000000000000000000001 01 80 10", 0, nullptr, nullptr},
  };
  for (auto [line, ok, addr, wantName] : rows) {
    NI_NODEADDR a;
    char name[21];
    ASSERT_EQ(NiIParseIfInet6Line(line, &a, name, sizeof name), ok) << line;
    if (ok == 0) continue;
    EXPECT_EQ(Text(a), addr);
    EXPECT_STREQ(name, wantName);
  }
}

// Unknown names, real time-outs and the environment, each in a child of its own.
TEST(NiHSEnvironment, UnknownNamesCachedUntilTheyExpire) {
  InChild("RES_OPTIONS", "timeout:1 attempts:1", [] {
    ASSERT_EQ(NiInit(), ZUL_O_K);
    ASSERT_EQ(SetUint(NIP_HOSTBUF_TIMEOUT_INVALID, 1), ZUL_O_K);
    for (size_t len : {59u, 60u, 63u}) {
      std::u16string name = std::u16string(len - 8, u'n') + u".invalid";
      NI_NODEADDR a;
      uint64_t before = Lookups();
      EXPECT_EQ(NiHostToAddr(name.c_str(), &a), NIEHOST_UNKNOWN);
      EXPECT_EQ(NiHostToAddr(name.c_str(), &a), NIEHOST_UNKNOWN);
      EXPECT_EQ(Lookups() - before, len < 60 ? 1u : 2u) << len;  // 60 and more aren't cached
      if (len < 60) {
        usleep(1100 * 1000);
        EXPECT_EQ(NiHostToAddr(name.c_str(), &a), NIEHOST_UNKNOWN);
        EXPECT_EQ(Lookups() - before, 2u);
      }
    }
  });
}

TEST(NiHSEnvironment, CacheDisabledOnlyByTheNumberOne) {
  for (const char *value : {"1", "0", "yes"}) {
    InChild("ZUL_NI_CACHE_DISABLED", value, [value] {
      ASSERT_EQ(NiInit(), ZUL_O_K);
      NI_NODEADDR a;
      uint64_t before = Lookups();
      for (int i = 0; i < 3; ++i) ASSERT_EQ(NiHostToAddr(u"localhost", &a), ZUL_O_K);
      EXPECT_EQ(Lookups() - before, std::strcmp(value, "1") == 0 ? 3u : 1u) << value;
      EXPECT_EQ(NiGetParam(NIP_HSBUF_SIZE), std::strcmp(value, "1") == 0 ? 0 : 100);
    });
  }
}

TEST(NiHSEnvironment, PolicyOfTheEnvironmentInTheIPv6Cache) {
  InChild("NI_ADDR_POLICY", "::ffff:0:0/96,1;::1/128,50", [] {
    NIHIMPL_LINEAR6 cache;
    ASSERT_EQ(cache.init(10, 86400, 600, 600), ZUL_O_K);
    EXPECT_EQ(cache.policyRows(), 2);
    NI_NODEADDR a;
    ASSERT_EQ(cache.getNodeAddr(u"localhost", &a, 0, 0, nullptr), ZUL_O_K);
    EXPECT_EQ(Text(a), "127.0.0.1");  // the only address there is, matching the IPv4 rule
    EXPECT_EQ(cache.getNodeAddr(u"localhost", &a, 0, 4, nullptr), NIEHOST_UNKNOWN);
  });
}

}  // namespace nihs

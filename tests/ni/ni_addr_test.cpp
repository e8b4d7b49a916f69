// Address texts: the parser's rows (address, mask, flag, result), the printers on the same rows,
// the address and port forms and the hiding of route passwords. That printed forms parse back to
// the same address and mask is the fuzz target's check.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

#include "ni/nixxi.h"
#include "zul_err.h"

namespace {

// 32 hex digits, or "" when the row fails.
std::string Hex(const NI_NODEADDR &a) {
  static const char kDigits[] = "0123456789abcdef";
  std::string s;
  for (uint8_t b : a.addr) {
    s += kDigits[b >> 4];
    s += kDigits[b & 15];
  }
  return s;
}

const std::string kOnes(32, 'f');
const std::string kV4Ones = std::string(24, 'f') + "ffffffff";
const std::string kMapped = "00000000000000000000ffff";

struct ParseRow {
  const char16_t *in;
  int rc;
  std::string addr, mask;
  int hasMask;
  const char16_t *detail;  // the refusal's text, or the printed form of a success
};

const ParseRow kParseRows[] = {
    {u"10.0.0.1", 0, kMapped + "0a000001", kOnes, 0, u"10.0.0.1/32"},
    {u"10.*.*.*", 0, kMapped + "0a000000", kV4Ones.substr(0, 26) + "000000", 1, u"10.0.0.0/8"},
    {u"10.0.0.0/8", 0, kMapped + "0a000000", kV4Ones.substr(0, 26) + "000000", 1, u"10.0.0.0/8"},
    {u"10/8", 0, kMapped + "0a000000", kV4Ones.substr(0, 26) + "000000", 1, u"10.0.0.0/8"},
    {u"10.1/16", 0, kMapped + "0a010000", kV4Ones.substr(0, 28) + "0000", 1, u"10.1.0.0/16"},
    {u"11000000.*.*.*", 0, kMapped + "c0000000", kV4Ones.substr(0, 26) + "000000", 1,
     u"192.0.0.0/8"},
    {u"1100xxxx.*.*.*", 0, kMapped + "c0000000", kV4Ones.substr(0, 24) + "f0000000", 1,
     u"192.0.0.0/4"},
    {u"::1", 0, std::string(31, '0') + "1", kOnes, 0, nullptr},
    {u"::ffff:1.2.3.4", 0, kMapped + "01020304", kOnes, 0, u"1.2.3.4/32"},
    {u"fe80::/10", 0, "fe80" + std::string(28, '0'), "ffc0" + std::string(28, '0'), 1, nullptr},
    {u"1:2:3:4:5:6:7:8", 0, "00010002000300040005000600070008", kOnes, 0, nullptr},
    {u"1:2:3:4:5:6:1.2.3.4", 0, "00010002000300040005000601020304", kOnes, 0, nullptr},
    {u"10.*.*.*/8", -8, "", "", 0, u"NiStrToAddrMask: invalid wildcards in '10.*.*.*/8'"},
    {u"10", -8, "", "", 0, u"NiStrToAddrMask: invalid length of '10' (13)"},
    {u"1", -8, "", "", 0, u"NiStrToAddrMask: invalid string length of '1' (1)"},
    {u"300/8", -8, "", "", 0, u"NiStrToAddrMask: invalid value in '300/8' (0;300)"},
    {u":::", -8, "", "", 0, u"NiStrToAddrMask: invalid multiple group in ':::'"},
    {u"1::2::3", -8, "", "", 0, u"NiStrToAddrMask: invalid multiple group in '1::2::3'"},
    {u"1:2:3:4:5:6:7:8:9", -8, "", "", 0,
     u"NiStrToAddrMask: invalid length of '1:2:3:4:5:6:7:8:9' (7)"},
    {u"1.2.3.4/", -8, "", "", 0, u"NiStrToAddrMask: invalid prefix in '1.2.3.4/'"},
    {u"::/129", -8, "", "", 0, u"NiStrToAddrMask: invalid prefix in '::/129' (129)"},
    {u"12345::", -8, "", "", 0, u"NiStrToAddrMask: invalid value in '12345::' (5;74565)"},
    {u"1.2.3.1234", -8, "", "", 0, u"NiStrToAddrMask: invalid character in '1.2.3.1234' (6;4)"},
    {u"1.2.3.1234567", -8, "", "", 0,
     u"NiStrToAddrMask: invalid character in '1.2.3.1234567' (6;7)"},
    {u"1.2.3.256", -8, "", "", 0, u"NiStrToAddrMask: invalid value in '1.2.3.256' (6;256)"},
    {u"1.2.3.", -8, "", "", 0, u"NiStrToAddrMask: invalid length of '1.2.3.' (15)"},
    {u"1.2.3.4.5", -8, "", "", 0, u"NiStrToAddrMask: invalid character in '1.2.3.4.5' (7)"},
    {u"1.2.3.4/33", -8, "", "", 0, u"NiStrToAddrMask: invalid prefix in '1.2.3.4/33' (33)"},
    {u"1.2.3.\u00e9", -8, "", "", 0, u"NiStrToAddrMask: invalid character in '1.2.3.?' (6)"},
    {u"g::", -8, "", "", 0, u"NiStrToAddrMask: invalid character in 'g::' (0)"},
};

TEST(NiStrToAddrMask, Rows) {
  for (const ParseRow &r : kParseRows) {
    NI_NODEADDR addr, mask;
    int hasMask = -1;
    ErrClear();
    int rc = NiStrToAddrMask(r.in, &addr, &mask, &hasMask);
    std::string in(r.in, r.in + std::char_traits<char16_t>::length(r.in));
    ASSERT_EQ(rc, r.rc) << in;
    if (rc != ZUL_O_K) {
      EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)), r.detail) << in;
      continue;
    }
    EXPECT_EQ(Hex(addr), r.addr) << in;
    EXPECT_EQ(Hex(mask), r.mask) << in;
    EXPECT_EQ(hasMask, r.hasMask) << in;
    char16_t out[NI_ADDRMASK_STR_LEN];
    ASSERT_EQ(NiAddrMaskToStr(&addr, &mask, out, NI_ADDRMASK_STR_LEN), ZUL_O_K) << in;
    if (r.detail != nullptr) {
      EXPECT_EQ(std::u16string(out), r.detail) << in;
    }
  }
  NI_NODEADDR a, m;
  EXPECT_EQ(NiStrToAddrMask(nullptr, &a, &m, nullptr), NIEINVAL);
  EXPECT_EQ(NiStrToAddrMask(u"", &a, &m, nullptr), NIEINVAL);
  std::u16string longest = u"0000:0000:0000:0000:0000:0000:255.255.255.255/128";
  ASSERT_EQ(longest.size(), 49u);
  EXPECT_EQ(NiStrToAddrMask(longest.c_str(), &a, &m, nullptr), ZUL_O_K);
  EXPECT_EQ(NiStrToAddrMask((longest + u"0").c_str(), &a, &m, nullptr), NIEINVAL);
  EXPECT_EQ(NiStrToAddr(u"10.0.0.0/8", &a), NIEINVAL);
  EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_DETAIL)),
            u"NiStrToAddr: address '10.0.0.0/8' with subnet prefix");
}

TEST(NiAddrToStr, FormsAndBufferLimits) {
  char16_t buf[NI_NODEADDR_STR_LEN];
  auto text = [&](const NI_NODEADDR *a, int len) {
    return NiAddrToStr(a, buf, len, 0) == ZUL_O_K ? std::u16string(buf) : u"refused";
  };
  EXPECT_EQ(text(&NI_ADDR_LOCAL_I4_INIT, 16), u"127.0.0.1");
  EXPECT_EQ(text(&NI_ADDR_LOCAL_I4_INIT, 15), u"refused");
  EXPECT_EQ(text(nullptr, 16), u"0.0.0.0");
  EXPECT_EQ(text(&NI_ADDR_LOCAL_I6_INIT, 45), u"refused");
  EXPECT_EQ(text(&NI_ADDR_LOCAL_I6_INIT, 46), u"::1");
  EXPECT_EQ(std::u16string(NiAddrToStr2(&NI_ADDR_LOCAL_I6_INIT, buf, 4, 0)), u"<ERR>");
  EXPECT_EQ(std::u16string(NiAddrToStrStatic(&NI_ADDR_LOCAL_I4_INIT, 0)), u"127.0.0.1");
  EXPECT_EQ(NiIGetAddrPortSep(u"fe80::1"), u'.');
  EXPECT_EQ(NiIGetAddrPortSep(u"::ffff:1.2.3.4"), u':');
  EXPECT_EQ(NiIGetAddrPortSep(u"host"), u':');
  EXPECT_EQ(NiServToStr(3200, buf, 5), NIEINVAL);
  EXPECT_EQ(std::u16string(NiServToStr2(65535, buf, 6)), u"65535");
  NiExit();
}

TEST(NiStrToAddrAndPort, Forms) {
  const std::tuple<const char16_t *, bool, int, std::string, uint16_t> rows[] = {
      {u"[::1]:3200", true, 0, std::string(31, '0') + "1", 3200},
      {u"[::1]", true, 0, std::string(31, '0') + "1", 0},
      {u"::1:3200", true, 0, std::string(24, '0') + "00013200", 0},
      {u"[::1]x", true, NIEINVAL, "", 0},
      {u"::1]:5", true, NIEINVAL, "", 0},
      {u"127.0.0.1:80", false, 0, kMapped + "7f000001", 80},
      {u"localhost:7", false, 0, "", 7},
      {u"10.0.0.0/8:5", true, 0, kMapped + "0a000000", 5},
      {u"*:3200", false, NIEINVAL, "", 0},
      {u"1.2.3.4:notaservice", false, NIESERV_UNKNOWN, "", 0},
      {u"", false, NIEINVAL, "", 0},
  };
  for (const auto &[in, withMask, wantRc, wantAddr, wantPort] : rows) {
    NI_NODEADDR addr{}, mask{};
    uint16_t port = 1;
    std::u16string text(in);
    ASSERT_EQ(NiStrToAddrAndPort(in, &addr, withMask ? &mask : nullptr, &port), wantRc)
        << std::string(text.begin(), text.end());
    if (wantRc != ZUL_O_K) continue;
    if (!wantAddr.empty()) {
      EXPECT_EQ(Hex(addr), wantAddr) << text.size();
    }
    EXPECT_EQ(port, wantPort) << text.size();
  }
  NI_NODEADDR addr, mask;
  uint16_t port = 0;
  ASSERT_EQ(NiStrToAddrAndPort(u"*:3200", &addr, &mask, &port), ZUL_O_K);
  EXPECT_EQ(Hex(mask),
            NiIsIPv6Activated() ? std::string(32, '0') : std::string(24, 'f') + "00000000");
  std::u16string tooLong(98, u'1');
  EXPECT_EQ(NiStrToAddrAndPort(tooLong.c_str(), &addr, nullptr, nullptr), NIEINVAL);
  NiExit();
}

TEST(NiGuessDistance, LeadingEqualBitsOfTwoHosts) {
  struct Row {
    const char16_t *a, *b;
    int bits;
  } rows[] = {{u"10.1.2.3", u"10.1.2.3", 128},   {u"10.1.2.3", u"10.1.2.2", 127},
              {u"10.0.0.0", u"138.0.0.0", 96},   {u"10.0.0.1", u"10.128.0.1", 104},
              {u"localhost", u"localhost", 128}, {u"10.0.0.1", u"h\u00e9", -1}};
  for (const Row &r : rows) EXPECT_EQ(NiGuessDistance(r.a, r.b), r.bits);
  NI_NODEADDR loop, viaRaw;
  ASSERT_EQ(NiGetLoopbackAddr(&loop), ZUL_O_K);
  EXPECT_TRUE(std::memcmp(&loop, &NI_ADDR_LOCAL_I4_INIT, 16) == 0 ||
              std::memcmp(&loop, &NI_ADDR_LOCAL_I6_INIT, 16) == 0);
  ZUL_RAW raw[16];
  NiTransNodeToRaw(&loop, raw);
  NiTransRawToNode(raw, &viaRaw);
  EXPECT_EQ(Hex(viaRaw), Hex(loop));
  NiTransIPv4ToRaw(0x0100007f, raw);
  EXPECT_EQ(NiTransRawToIPv4(raw), 0x0100007fu);
  char16_t text[8] = u"fe80::";
  EXPECT_EQ(NiIAddAddrPortSep(text, 8), ZUL_O_K);
  EXPECT_EQ(std::u16string(text), u"fe80::.");
  EXPECT_EQ(NiIAddAddrPortSep(text, 8), NIETOO_SMALL);
  NiExit();
}

// The exact texts; the buffer bounds are the fuzz target's.
TEST(NiSecStr2, HidesPasswordsWhereRoomAllows) {
  char16_t out[64];
  auto hide = [&](const char16_t *in, int len) {
    return NiSecStr2(in, out, len) == ZUL_O_K ? std::u16string(out) : u"refused";
  };
  EXPECT_EQ(hide(u"/H/host/P/secret/H/x", 64), u"/H/host/P/***/H/x");
  EXPECT_EQ(hide(u"/H/h/P/abc/H/x", 15), u"/H/h/P/***/H/x");
  EXPECT_EQ(hide(u"/H/h/P/ab/H/x", 14), u"/H/h/P//H/x");
  EXPECT_EQ(hide(u"/H/h/W/pw/H/x", 64), u"/H/h/W/***/H/x");
  EXPECT_EQ(NiSecStr2(nullptr, out, 3), NIEINVAL);
}

}  // namespace

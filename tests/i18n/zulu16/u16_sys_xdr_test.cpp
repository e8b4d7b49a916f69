// The XDR string filter on 16-bit text, through the C library's own memory streams.

#include <dlfcn.h>

#include "zul_u16sys.h"

namespace u16_sys_xdr_test {

TEST(XdrStringU16, EncodesUtf8AndDecodesBack) {
  // glibc's memory stream, a compatibility symbol like xdr_string: looked up the same way.
  auto create = reinterpret_cast<void (*)(void *, char *, unsigned int, int)>(
      dlvsym(RTLD_DEFAULT, "xdrmem_create", "GLIBC_2.2.5"));
  if (create == nullptr) GTEST_SKIP() << "no XDR memory streams in this C library";
  alignas(16) unsigned char xdrs[256];
  char wire[64] = {};
  ZUL_UTF16 text[] = u"Gr\u00fc\u00dfe \u263a";
  ZUL_UTF16 *p = text;
  create(xdrs, wire, sizeof wire, 0);
  ASSERT_EQ(xdr_stringU16(xdrs, &p, 32), 1);
  // A big-endian length, then the UTF-8 bytes, padded to four.
  const char expected[] =
      "\0\0\0\x0bGr\xc3\xbc\xc3\x9f"
      "e \xe2\x98\xba";
  EXPECT_EQ(std::memcmp(wire, expected, 16), 0);

  create(xdrs, wire, sizeof wire, 1);
  ZUL_UTF16 *back = nullptr;
  ASSERT_EQ(xdr_stringU(xdrs, &back, 32), 1);
  EXPECT_EQ(std::u16string(back), std::u16string(text));
  create(xdrs, wire, sizeof wire, 2);
  EXPECT_EQ(xdr_stringU16(xdrs, &back, 32), 1);
  EXPECT_EQ(back, nullptr);

  // Too long for maxsize, and null arguments, answer FALSE.
  create(xdrs, wire, sizeof wire, 0);
  EXPECT_EQ(xdr_stringU16(xdrs, &p, 4), 0);
  EXPECT_EQ(xdr_stringU16(nullptr, &p, 32), 0);
  EXPECT_EQ(xdr_stringU16(xdrs, nullptr, 32), 0);
  ZUL_UTF16 *none = nullptr;
  EXPECT_EQ(xdr_stringU16(xdrs, &none, 32), 0);
}

}  // namespace u16_sys_xdr_test

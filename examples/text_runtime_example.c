/* The 16-bit text runtime: a server that keeps its text in 16-bit form, as the library does.
 * It takes UTF-8 input, works on it with the 16-bit runtime, formats a metric line, and writes
 * the results back out as UTF-8. */
#include <stdio.h>
#include <uchar.h>

#include "zul_u16.h"

/* Converts zero-terminated UTF-8 into buf; prints the conversion's answer when it fails. */
static const ZUL_UTF16 *FromUtf8(const char *utf8, ZUL_UTF16 *buf, size_t units) {
  size_t length = 0;
  int rc = Utf8sToUcsFast(buf, units, &length, (const ZUL_RAW *)utf8);
  if (rc != 0) printf("  (conversion stopped after %zu units, answer %d)\n", length, rc);
  return buf;
}

int main(void) {
  static const char *const components[] = {"Order entry", "Zahlungsprüfung", "東京 gateway",
                                           "Cache 🚀"};
  ZUL_UTF16 name[64];
  ZUL_UTF16 upper[64];
  ZUL_UTF16 line[256];

  puts("== metric lines, formatted as 16-bit text and written as UTF-8");
  puts("   (a stream writes each unit on its own, so the halves of a surrogate pair show as '#')");
  for (int i = 0; i < 4; ++i) {
    FromUtf8(components[i], name, 64);
    strcpytoupperU16(upper, name);
    int n = snprintfU16(
        line, 256, u"%s|%s:%s\" value=\"%d\" max=\"%d\" min=\"%d\" count=\"%d\" />\n", u"Frontend",
        upper, u"Average Response Time (ms)", 120 + i * 7, 300 + i, 20 - i, 1000 * (i + 1));
    printf("[%2d units, %2zu of them in the name] ", n, strlenU16(name));
    fflush(stdout);
    fputsU16(line, stdout);
  }

  puts("== a number read from 16-bit text");
  ZUL_UTF16 *end = NULL;
  long value = strtolU16(u"  0x1F4 ms", &end, 0);
  printf("strtolU16(\"  0x1F4 ms\") = %ld, rest: ", value);
  fflush(stdout);
  fputsU16(end, stdout);
  putchar('\n');

  puts("== invalid UTF-8 (an overlong C0 80) becomes U+FFFD in the convenience form");
  FromUtf8("abc\xC0\x80xyz", name, 64);
  fputsU16(name, stdout);
  putchar('\n');

  puts("== the strict form refuses it and stops where it starts, so a caller can resume");
  const ZUL_RAW bad[] = "abc\xC0\x80xyz";
  const ZUL_RAW *src = bad;
  ZUL_UTF16 *dst = name;
  int rc = Utf8nToUtf16nSubst(&src, bad + sizeof bad - 1, &dst, name + 64, NULL, NULL);
  printf("Utf8nToUtf16nSubst answered %d after %d bytes and %d units\n", rc, (int)(src - bad),
         (int)(dst - name));
  return 0;
}

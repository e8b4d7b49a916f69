/* Compiled as C: every public header must be valid C, and the library must link from C. */
#include "all_public_headers.h"

#include <stdio.h>

int main(void) {
  ZUL_UTF16 text[] = {'t', 'l', 'm', 0};
  ZUL_RAW byte = 1;
  if (sizeof(ZUL_UTF16) != 2 || byte != 1 || ZUL_O_K != 0) return 1;
  if (strlenU16(text) != 3) return 2;
  puts("C headers compile and link");
  return 0;
}

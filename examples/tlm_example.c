/* Example application: uses the library's 16-bit text runtime as an application would. */
#include <stdio.h>

#include "zul_u16string.h"

int main(void) {
  static const ZUL_UTF16 text[] = {'t', 'l', 'm', '.', 's', 'o', 0};
  printf("strlenU16(\"tlm.so\") = %zu\n", strlenU16(text));
  return 0;
}

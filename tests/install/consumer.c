/* Built by hand with pkg-config, as C: every installed header compiles as C and the library
   links. The list of headers is put in front of this file by the script that builds it. */
#include <stdio.h>

int main(void) {
  ZUL_UTF16 text[] = {'t', 'l', 'm', 0};
  if (strlenU16(text) != 3 || TLM_getCharSize() != 2) return 1;
  puts("consumer: C through pkg-config");
  return 0;
}

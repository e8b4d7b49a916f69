/* A program linked to tlm.so alone: ICU enters the process at its first classification and not
 * before; where ICU is installed it is ICU that answers then. */
#include <stdio.h>
#include <string.h>

#include "zul_u16string.h"

static int Mapped(const char *name) {
  char line[4096];
  int found = 0;
  FILE *maps = fopen("/proc/self/maps", "r");
  if (maps == NULL) return -1;
  while (fgets(line, sizeof line, maps) != NULL) found |= strstr(line, name) != NULL;
  fclose(maps);
  return found;
}

int main(void) {
  static const ZUL_UTF16 text[] = {'a', 'b', 0};
  if (strlenU16(text) != 2 || Mapped("libicu") != 0) return 1;
  if (!isalphaU('a')) return 2;
#ifdef TLM_EXPECT_ICU
  if (Mapped("libicuuc") != 1 || !isalphaU(0xE4)) return 3;
#endif
  return 0;
}

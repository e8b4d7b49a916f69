// The 7-bit classes: the C locale's answers for units below 128; any other unit tests false or
// maps to itself, and is reported when the trace level asks for it.
#include <unistd.h>

#include <cstdio>

#include "i18n/zulu16/nlsui.h"

namespace zulu16::nlsui {

namespace {

// One report per unit, in one fprintf so that lines of two threads don't mix.
void NonSevenBit(ZUL_UTF16 c, const char *function, int line) {
  if (TraceLevel() == 0) return;
  char head[96];
  std::snprintf(head, sizeof head, "ERROR: Non 7-bit character U+%04X encountered in function %s",
                static_cast<unsigned>(c), function);
  std::fprintf(stderr, "%-79s [%s %d] pid = %d\nThis is not supported in 7-bit mode.\n", head,
               "nlsui0_mt", line, static_cast<int>(getpid()));
}

bool Upper(ZUL_UTF16 c) { return c >= 'A' && c <= 'Z'; }
bool Lower(ZUL_UTF16 c) { return c >= 'a' && c <= 'z'; }
bool Digit(ZUL_UTF16 c) { return c >= '0' && c <= '9'; }

#define NLSUI_SEVEN_BIT(name, ansi_answer) \
  int name##7(ZUL_UTF16 c) {               \
    if ((c & 0xFF80) != 0) {               \
      NonSevenBit(c, #name, __LINE__);     \
      return 0;                            \
    }                                      \
    return (ansi_answer) ? 1 : 0;          \
  }

NLSUI_SEVEN_BIT(isalnumU, Upper(c) || Lower(c) || Digit(c))
NLSUI_SEVEN_BIT(isalphaU, Upper(c) || Lower(c))
NLSUI_SEVEN_BIT(iscntrlU, c < 0x20 || c == 0x7F)
NLSUI_SEVEN_BIT(islowerU, Lower(c))
NLSUI_SEVEN_BIT(isprintU, c >= 0x20 && c < 0x7F)
NLSUI_SEVEN_BIT(isspaceU, c == ' ' || (c >= '\t' && c <= '\r'))
NLSUI_SEVEN_BIT(isupperU, Upper(c))
#undef NLSUI_SEVEN_BIT

ZUL_UTF16 toupperU7(ZUL_UTF16 c) {
  if ((c & 0xFF80) != 0) {
    NonSevenBit(c, "toupperU", __LINE__);
    return c;
  }
  return Lower(c) ? static_cast<ZUL_UTF16>(c - 0x20) : c;
}

ZUL_UTF16 tolowerU7(ZUL_UTF16 c) {
  if ((c & 0xFF80) != 0) {
    NonSevenBit(c, "tolowerU", __LINE__);
    return c;
  }
  return Upper(c) ? static_cast<ZUL_UTF16>(c + 0x20) : c;
}

}  // namespace

const ClassSet kSevenBitClasses = {isalnumU7, isalphaU7, iscntrlU7, islowerU7, isprintU7,
                                   isspaceU7, isupperU7, toupperU7, tolowerU7};

}  // namespace zulu16::nlsui

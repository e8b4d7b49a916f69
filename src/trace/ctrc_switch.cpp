// Switching components and the process level by a components text, and the text itself.
#include <cstring>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"

namespace {

constexpr size_t kMinCompsText = 2001;

bool StartsWith(const char16_t *text, const char16_t *prefix) {
  return strncmpU16(text, prefix, strlenU16(prefix)) == 0;
}

bool Contains(const char16_t *text, char16_t unit) { return strchrU16(text, unit) != nullptr; }

size_t Append(char16_t *out, size_t used, const char16_t *text) {
  size_t n = strlenU16(text);
  std::memcpy(out + used, text, n * sizeof(char16_t));
  return used + n;
}

// The letters of the components, lower case for level 1 and upper case above, of those whose
// level passes the filter.
template <typename Filter>
size_t AppendLetters(char16_t *out, size_t used, Filter filter) {
  for (int i = 1; i < next_free_comp; ++i) {
    const CTRC_ADM &e = ctrcadm[i];
    if (e.letter == 0 || !filter(e.level)) continue;
    out[used++] = e.level == 1 ? tolowerU(e.letter) : e.letter;
  }
  return used;
}

// Writes the components text: "all" when every component is at level 1, "All" when every one is
// above, "all, " with the letters above or "All, " with the letters at 1 when none is off, and the
// plain list otherwise.
void CompsText(char16_t *out, size_t size) {
  if (size < kMinCompsText) {
    strcpyU16(out, u"illegal parameter");
    return;
  }
  int at_one = 0, above = 0, total = 0;
  for (int i = 1; i < next_free_comp; ++i) {
    if (ctrcadm[i].letter == 0) continue;
    ++total;
    if (ctrcadm[i].level == 1) ++at_one;
    if (ctrcadm[i].level > 1) ++above;
  }
  size_t used;
  if (total == 0 || at_one == total) {
    used = Append(out, 0, u"all");
  } else if (above == total) {
    used = Append(out, 0, u"All");
  } else if (at_one + above == total) {
    // Ties go to the "all" form.
    if (at_one >= above)
      used = AppendLetters(out, Append(out, 0, u"all, "), [](int level) { return level > 1; });
    else
      used = AppendLetters(out, Append(out, 0, u"All, "), [](int level) { return level == 1; });
  } else {
    used = AppendLetters(out, 0, [](int level) { return level > 0; });
  }
  out[used] = 0;
}

void SetAllLevels(int level) {
  for (int i = 1; i < next_free_comp; ++i) ctrcadm[i].level = level;
}

// Applies the letters of rest in the given mode; answers the highest level of all components
// afterwards (-1 without components).
int ApplyLetters(const char16_t *rest, int mode, bool level_flag, int level) {
  int highest = -1;
  for (int i = 1; i < next_free_comp; ++i) {
    CTRC_ADM &e = ctrcadm[i];
    if (e.letter == 0) continue;
    if (Contains(rest, tolowerU(e.letter)))
      e.level = mode == CTRC_SWITCH_REMOVE ? 0 : 1;
    else if (Contains(rest, e.letter))
      e.level = mode == CTRC_SWITCH_REMOVE ? 1 : (level_flag ? level : 3);
    else if (mode == CTRC_SWITCH_SET)
      e.level = 0;
    if (e.level > highest) highest = e.level;
  }
  return highest;
}

}  // namespace

namespace ctrc {

void CallAllHooks() {
  for (int i = 1; i < next_free_comp; ++i) {
    const CTRC_ADM &e = ctrcadm[i];
    if (e.hook == nullptr) continue;
    if (ct_level > 1)
      dptrace::Print(ProcessStream(), u"Calling hook function for component '%c'\n", e.letter);
    CallHook(e);
  }
}

}  // namespace ctrc

int CTrcSwitch(const ZUL_UTF16 *components, int mode, int level, ZUL_UTF16 *comps_out,
               int *level_out) noexcept {
  ctrc::Lock lock;
  if (ctrc::state.global_file == nullptr) return -1;
  if (comps_out != nullptr) CompsText(comps_out, CTRC_COMPS_TEXT_SIZE);
  if (level_out != nullptr) *level_out = ct_level;
  bool level_flag = (mode & CTRC_SWITCH_LEVEL) != 0;
  int plain_mode = mode & 0x7F;
  int highest = -1;
  if (components != nullptr) {
    const char16_t *rest = components;
    if (StartsWith(rest, u"All")) {
      if (plain_mode != CTRC_SWITCH_SET) return -1;
      SetAllLevels(level_flag ? level : 3);
      rest += 3;
    }
    if (StartsWith(rest, u"all")) {
      if ((mode & 0x7F) != CTRC_SWITCH_SET) return -1;
      SetAllLevels(1);
      rest += 3;
    }
    if (rest != components) plain_mode = CTRC_SWITCH_ADD;
    highest = ApplyLetters(rest, plain_mode, level_flag, level);
  }
  if (level_flag) {
    if (highest >= 0) ct_level = highest;
  } else if (level >= 0) {
    ct_level = level;
  }
  if (components != nullptr || level >= 0) CTrcPrintAct();
  ctrc::CallAllHooks();
  return 0;
}

int CTrcPrintAct(void) noexcept {
  ctrc::Lock lock;
  if (ctrc::state.global_file == nullptr) return -1;
  char16_t comps[CTRC_COMPS_TEXT_SIZE];
  CompsText(comps, CTRC_COMPS_TEXT_SIZE);
  FILE *stream = ctrc::ProcessStream();
  dptrace::Print(stream, u"*\n*  ACTIVE TRACE LEVEL           %d\n", ct_level);
  dptrace::Print(stream, u"*  ACTIVE TRACE COMPONENTS      %s\n*\n", comps);
  dptrace::Flush(stream);
  return 0;
}

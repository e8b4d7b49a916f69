// Merging the arguments of an error into the text of its message.
#include "trace/err_merge.h"

#include "trace/err_state.h"
#include "zul_u16string.h"

namespace {

constexpr int kMaxArgs = 64;
constexpr ZUL_UTF16 kSeparator[] = u";;;;";
constexpr size_t kSeparatorUnits = 4;

// One argument: where it starts in vargs and its length.
struct Arg {
  const ZUL_UTF16 *text;
  size_t units;
};

int SplitArgs(const ZUL_UTF16 *vargs, Arg *args) {
  if (vargs == nullptr || vargs[0] == 0) return 0;
  int count = 0;
  const ZUL_UTF16 *start = vargs;
  while (count < kMaxArgs) {
    const ZUL_UTF16 *end = strstrU16(start, kSeparator);
    if (end == nullptr) {
      args[count++] = {start, strlenU16(start)};
      break;
    }
    args[count++] = {start, static_cast<size_t>(end - start)};
    start = end + kSeparatorUnits;
  }
  return count;
}

// Appends units of text to out while room for the terminator remains.
void Put(ZUL_UTF16 *out, size_t size, size_t *used, const ZUL_UTF16 *text, size_t units) {
  for (size_t i = 0; i < units && *used + 1 < size; ++i) out[(*used)++] = text[i];
}

}  // namespace

namespace err {

void MergeText(const ZUL_UTF16 *message, const ZUL_UTF16 *vargs, ZUL_UTF16 *out, size_t size) {
  Arg args[kMaxArgs];
  int count = SplitArgs(vargs, args);
  int next = 0;
  size_t used = 0;
  for (const ZUL_UTF16 *p = message; *p != 0; ++p) {
    if (*p != u'&') {
      Put(out, size, &used, p, 1);
      continue;
    }
    ZUL_UTF16 after = p[1];
    if (after >= u'1' && after <= u'9') {
      int n = after - u'1';
      if (n < count)
        Put(out, size, &used, args[n].text, args[n].units);
      else
        DPTRC(2, tf, u"ErrMergeTxt: no vargs for &%c\n", after);
      ++p;
    } else if (next < count) {
      Put(out, size, &used, args[next].text, args[next].units);
      ++next;
    } else {
      DPTRC(2, tf, u"ErrMergeTxt: no vargs\n");
    }
  }
  out[used] = 0;
}

}  // namespace err

// Fuzz target of formatted output: the format comes from the input, and the argument list is
// built to match it exactly, so that every conversion reads an argument of the type it expects.
//
// Input: byte 0 is the size of a small buffer (0 to 63 units). Then the format, one unit per byte
// (0xFF and two more bytes give any unit), up to a zero byte. The rest feeds argument values.
// A scanner that reads conversion specifications the way the library does lists the arguments;
// inputs it can't feed are skipped: more than three arguments, a precision above 5000 (it would
// make values of gigabytes), or a %n with a length modifier.
//
// Each format is written with snprintfU16 to a large buffer, then with snprintfU16, sprintf_sU16
// and snprintf_sU16 to a heap buffer of exactly the small size; the checks are the terminator
// rules, the answers of each member, and that a cut output is a prefix of the whole one.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "zul_u16printf.h"
#include "zul_u16trace.h"

namespace {

constexpr size_t kMaxArgs = 3;
constexpr long kMaxPrecision = 5000;
constexpr size_t kLargeUnits = size_t{1} << 14;
constexpr char16_t kSentinel = 0xA5A5;

#define FUZZ_CHECK(condition)       \
  do {                              \
    if (!(condition)) std::abort(); \
  } while (0)

enum class Kind : uint8_t {
  kInt,
  kUnsigned,
  kLong,
  kUnsignedLong,
  kLongLong,
  kUnsignedLongLong,
  kDouble,
  kLongDouble,
  kText,
  kPointer,
  kCount,
};

// One argument the format reads; a '*' precision is bounded like a written one.
struct Need {
  Kind kind;
  bool precision_star;
};

struct Arg {
  Kind kind;
  int i = 0;
  unsigned u = 0;
  long l = 0;
  unsigned long ul = 0;
  long long ll = 0;
  unsigned long long ull = 0;
  double d = 0;
  long double ld = 0;
  const char16_t *text = nullptr;
  void *pointer = nullptr;
  int *count = nullptr;
};

// Argument values from the tail of the input; zeros once it runs out.
class ValueSource {
 public:
  ValueSource(const uint8_t *data, size_t size) : data_(data), left_(size) {}
  template <typename T>
  T Take() {
    T value{};
    size_t n = sizeof(T) < left_ ? sizeof(T) : left_;
    if (n > 0) std::memcpy(&value, data_, n);
    data_ += n;
    left_ -= n;
    return value;
  }

 private:
  const uint8_t *data_;
  size_t left_;
};

// Mirrors the library's reading of one conversion specification after '%'. Answers false for an
// input that can't be fed; *stop is set at an unknown letter, after which the library reads
// nothing more.
bool ScanConversion(const std::u16string &f, size_t *i, std::vector<Need> *kinds, bool *stop) {
  auto at = [&](size_t k) -> char16_t { return k < f.size() ? f[k] : 0; };
  while (at(*i) == u' ' || at(*i) == u'#' || at(*i) == u'+' || at(*i) == u'-' || at(*i) == u'0')
    ++*i;
  if (at(*i) == u'*') {
    kinds->push_back({Kind::kInt, false});
    ++*i;
  } else {
    while (at(*i) >= u'0' && at(*i) <= u'9') ++*i;
  }
  if (at(*i) == u'.') {
    ++*i;
    if (at(*i) == u'*') {
      kinds->push_back({Kind::kInt, true});
      ++*i;
    } else {
      long precision = 0;
      for (; at(*i) >= u'0' && at(*i) <= u'9'; ++*i) {
        precision = precision * 10 + (at(*i) - u'0');
        if (precision > kMaxPrecision) return false;
      }
    }
  }
  std::u16string length;
  if (at(*i) == u'h' || at(*i) == u'l') {
    length += at(*i);
    if (at(*i + 1) == at(*i)) length += at(++*i);
    ++*i;
  } else if (at(*i) == u'j' || at(*i) == u'z' || at(*i) == u't' || at(*i) == u'L') {
    length += at((*i)++);
  }
  const bool wide = length == u"l" || length == u"j" || length == u"z";
  const bool longlong = length == u"ll";
  auto need = [&](Kind kind) { kinds->push_back({kind, false}); };
  switch (at(*i)) {
    case u'%':
      break;
    case u'd':
    case u'i':
      need(longlong ? Kind::kLongLong : wide || length == u"t" ? Kind::kLong : Kind::kInt);
      break;
    case u'u':
    case u'o':
    case u'x':
    case u'X':
      // %t of an unsigned conversion reads a ptrdiff_t.
      need(longlong         ? Kind::kUnsignedLongLong
           : wide           ? Kind::kUnsignedLong
           : length == u"t" ? Kind::kLong
                            : Kind::kUnsigned);
      break;
    case u'c':
      need(Kind::kInt);
      break;
    case u's':
      need(Kind::kText);
      break;
    case u'p':
      need(Kind::kPointer);
      break;
    case u'n':
      if (!length.empty()) return false;
      need(Kind::kCount);
      break;
    case u'a':
    case u'A':
    case u'e':
    case u'E':
    case u'f':
    case u'F':
    case u'g':
    case u'G':
      need(length == u"L" ? Kind::kLongDouble : Kind::kDouble);
      break;
    default:
      *stop = true;
      return true;
  }
  ++*i;
  return true;
}

bool Scan(const std::u16string &format, std::vector<Need> *kinds) {
  bool stop = false;
  for (size_t i = 0; i < format.size() && !stop;) {
    if (format[i++] != u'%') continue;
    if (!ScanConversion(format, &i, kinds, &stop)) return false;
  }
  return kinds->size() <= kMaxArgs;
}

// What one input asks for: the format and the small buffer's size.
struct Run {
  std::u16string format;
  size_t small;
};

int counts[kMaxArgs];

// The buffers of one input's four calls: a large one, and three of exactly the small size, each
// preset to a sentinel.
struct Buffers {
  explicit Buffers(size_t small) : small(small), large(kLargeUnits, kSentinel) {
    for (auto &b : cut) {
      b.reset(new char16_t[small > 0 ? small : 1]);
      std::fill_n(b.get(), small > 0 ? small : 1, kSentinel);
    }
  }
  size_t small;
  std::vector<char16_t> large;
  std::unique_ptr<char16_t[]> cut[3];
};

struct Answers {
  int whole;       // snprintfU16 to the large buffer
  int cut;         // snprintfU16 to the small one
  int whole_only;  // sprintf_sU16
  int bounded;     // snprintf_sU16
};

template <typename... Values>
Answers CallMembers(Buffers &b, const char16_t *format, Values... values) {
  return {snprintfU16(b.large.data(), kLargeUnits, format, values...),
          snprintfU16(b.cut[0].get(), b.small, format, values...),
          sprintf_sU16(b.cut[1].get(), b.small, format, values...),
          snprintf_sU16(b.cut[2].get(), b.small, format, values...)};
}

void CheckAnswers(const Buffers &b, const Answers &a) {
  const size_t n = b.small;
  if (a.whole >= 0 && static_cast<size_t>(a.whole) < kLargeUnits) {
    FUZZ_CHECK(b.large[a.whole] == 0);
  } else {
    FUZZ_CHECK(std::find(b.large.begin(), b.large.end(), 0) != b.large.end());
  }

  const char16_t *cut = b.cut[0].get();
  if (n == 0) {
    FUZZ_CHECK(a.cut == 0 && cut[0] == kSentinel);
  } else if (a.cut >= 0) {
    const size_t end = static_cast<size_t>(a.cut) < n ? static_cast<size_t>(a.cut) : n - 1;
    FUZZ_CHECK(cut[end] == 0);
    FUZZ_CHECK(std::memcmp(cut, b.large.data(), end * 2) == 0);
    if (a.whole >= 0) FUZZ_CHECK(a.cut <= a.whole);
    if (static_cast<size_t>(a.cut) < n) FUZZ_CHECK(a.cut == a.whole);
  } else {
    FUZZ_CHECK(std::find(cut, cut + n, 0) != cut + n);
  }

  const char16_t *whole_only = b.cut[1].get();
  if (n == 0 || a.cut < 0 || static_cast<size_t>(a.cut) >= n) {
    FUZZ_CHECK(a.whole_only == -1);
  } else {
    FUZZ_CHECK(a.whole_only == a.cut && whole_only[a.cut] == 0);
  }

  const char16_t *bounded = b.cut[2].get();
  if (n == 0) {
    FUZZ_CHECK(a.bounded == 0 && bounded[0] == kSentinel);
  } else if (a.cut < 0) {
    FUZZ_CHECK(a.bounded == a.cut);
  } else {
    FUZZ_CHECK(a.bounded == (static_cast<size_t>(a.cut) >= n ? static_cast<int>(n - 1) : a.cut));
    FUZZ_CHECK(bounded[a.bounded] == 0);
  }
}

// Turns the runtime list of kinds into a call with exactly typed arguments.
template <typename... Values>
void Invoke(Run &run, const Arg *args, size_t left, Values... values) {
  if (left == 0) {
    Buffers buffers(run.small);
    CheckAnswers(buffers, CallMembers(buffers, run.format.c_str(), values...));
    return;
  }
  if constexpr (sizeof...(Values) < kMaxArgs) {
    const Arg &a = *args;
    switch (a.kind) {
      case Kind::kInt:
        return Invoke(run, args + 1, left - 1, values..., a.i);
      case Kind::kUnsigned:
        return Invoke(run, args + 1, left - 1, values..., a.u);
      case Kind::kLong:
        return Invoke(run, args + 1, left - 1, values..., a.l);
      case Kind::kUnsignedLong:
        return Invoke(run, args + 1, left - 1, values..., a.ul);
      case Kind::kLongLong:
        return Invoke(run, args + 1, left - 1, values..., a.ll);
      case Kind::kUnsignedLongLong:
        return Invoke(run, args + 1, left - 1, values..., a.ull);
      case Kind::kDouble:
        return Invoke(run, args + 1, left - 1, values..., a.d);
      case Kind::kLongDouble:
        return Invoke(run, args + 1, left - 1, values..., a.ld);
      case Kind::kText:
        return Invoke(run, args + 1, left - 1, values..., a.text);
      case Kind::kPointer:
        return Invoke(run, args + 1, left - 1, values..., a.pointer);
      case Kind::kCount:
        return Invoke(run, args + 1, left - 1, values..., a.count);
    }
  }
}

const char16_t *PickText(ValueSource &source, const std::u16string &own) {
  static const char16_t *const kTexts[] = {u"", u"abc", u"\u00e9\u20ac\xd800z", nullptr};
  uint8_t pick = source.Take<uint8_t>() % 5;
  return pick == 4 ? own.c_str() : kTexts[pick];
}

Arg MakeArg(const Need &need, ValueSource &source, const std::u16string &own, size_t index) {
  Arg a;
  a.kind = need.kind;
  switch (need.kind) {
    case Kind::kInt:
      a.i = source.Take<int>();
      // A '*' precision stays within what the scanner allows for written ones.
      if (need.precision_star) a.i %= static_cast<int>(kMaxPrecision + 1);
      break;
    case Kind::kUnsigned:
      a.u = source.Take<unsigned>();
      break;
    case Kind::kLong:
      a.l = source.Take<long>();
      break;
    case Kind::kUnsignedLong:
      a.ul = source.Take<unsigned long>();
      break;
    case Kind::kLongLong:
      a.ll = source.Take<long long>();
      break;
    case Kind::kUnsignedLongLong:
      a.ull = source.Take<unsigned long long>();
      break;
    case Kind::kDouble:
      a.d = source.Take<double>();
      break;
    case Kind::kLongDouble: {
      // The ten bytes of the x87 format; the padding stays zero.
      unsigned char bytes[sizeof(long double)] = {};
      for (size_t k = 0; k < 10; ++k) bytes[k] = source.Take<uint8_t>();
      std::memcpy(&a.ld, bytes, sizeof bytes);
      break;
    }
    case Kind::kText:
      a.text = PickText(source, own);
      break;
    case Kind::kPointer:
      a.pointer = reinterpret_cast<void *>(source.Take<uintptr_t>());
      break;
    case Kind::kCount:
      a.count = &counts[index];
      break;
  }
  return a;
}

void Discard(const ZUL_UTF16 *) {}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  static bool once = [] {
    u16_set_trace_func(Discard);
    u16_trace_level = 4;  // the unknown conversion report is built, then discarded
    return true;
  }();
  (void)once;

  Run run;
  run.small = data[0] % 64;
  size_t i = 1;
  for (; i < size && data[i] != 0; ++i) {
    if (data[i] == 0xFF && i + 2 < size) {
      run.format += static_cast<char16_t>((data[i + 1] << 8) | data[i + 2]);
      i += 2;
    } else {
      run.format += static_cast<char16_t>(data[i]);
    }
  }
  ValueSource source(data + (i < size ? i + 1 : size), i < size ? size - i - 1 : 0);

  std::vector<Need> kinds;
  if (!Scan(run.format, &kinds)) return 0;
  // A text of the input's own for %s: up to 16 units, terminated.
  std::u16string own;
  for (int k = 0; k < 16; ++k) {
    char16_t unit = source.Take<char16_t>();
    if (unit == 0) break;
    own += unit;
  }
  std::vector<Arg> args;
  for (size_t k = 0; k < kinds.size(); ++k) args.push_back(MakeArg(kinds[k], source, own, k));
  Invoke(run, args.data(), args.size());
  return 0;
}

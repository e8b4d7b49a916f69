// UTF-7 to and from 16-bit and 32-bit units.
//
// Only the letters, digits and "'(),-./:?" are direct; blank, tab and line ends go into a shifted
// run like every other character, and the optional set "!\"#$%&*;<=>@[]^_`{|}" is direct only when
// the caller asks. A run is closed with '-' only where the next byte could otherwise be read as a
// Base64 digit or as the closing '-'.
//
// The encoder keeps room for closing its run at all times, so that when the destination fills it
// can close the run and stop before the character that didn't fit: the bytes written then decode
// to exactly the source consumed, and a further call resumes the text.
#include <cstddef>
#include <cstdint>

#include "i18n/zulu16/u16_conv_units.h"
#include "krn/rscp/rscp_report.h"
#include "zul_u16conv.h"

namespace {

rscp::SourceName source_name("rscp_utf7");

constexpr char kDirect[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789'(),-./:?";
constexpr char kOptional[] = "!\"#$%&*;<=>@[]^_`{|}";
constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr uint8_t kIsDirect = 1, kIsOptional = 2, kIsBase64 = 4;

// Class bits and Base64 digit values of the 128 7-bit bytes, built from the three strings.
struct Tables {
  uint8_t cls[128] = {};
  int8_t value[128] = {};
};

constexpr Tables MakeTables() {
  Tables t;
  for (int i = 0; i < 128; ++i) t.value[i] = -1;
  for (const char *p = kDirect; *p != 0; ++p) t.cls[static_cast<int>(*p)] |= kIsDirect;
  for (const char *p = kOptional; *p != 0; ++p) t.cls[static_cast<int>(*p)] |= kIsOptional;
  for (int i = 0; kBase64[i] != 0; ++i) {
    t.cls[static_cast<int>(kBase64[i])] |= kIsBase64;
    t.value[static_cast<int>(kBase64[i])] = static_cast<int8_t>(i);
  }
  return t;
}

constexpr Tables kTables = MakeTables();

// What the encoder does with a 16-bit value, by value (128 for all above 127), for each choice of
// the direct set: 0 it goes into a run; otherwise kDirectChar, or kPlus for '+', with
// kDashAfterRun where a run before it must close with '-'.
constexpr uint8_t kDirectChar = 1, kPlus = 2, kDashAfterRun = 4;
struct Kinds {
  uint8_t plain[129] = {};
  uint8_t optional[129] = {};
};

constexpr Kinds MakeKinds() {
  Kinds k;
  for (int c = 0; c < 128; ++c) {
    uint8_t dash = (kTables.cls[c] & kIsBase64) != 0 || c == '-' ? kDashAfterRun : 0;
    if (c == '+') {
      k.plain[c] = k.optional[c] = kPlus | kDashAfterRun;
      continue;
    }
    if (kTables.cls[c] & kIsDirect) k.plain[c] = kDirectChar | dash;
    if (kTables.cls[c] & (kIsDirect | kIsOptional)) k.optional[c] = kDirectChar | dash;
  }
  return k;
}

constexpr Kinds kKinds = MakeKinds();

bool IsBase64(uint32_t b) { return b < 128 && (kTables.cls[b] & kIsBase64) != 0; }

int Fail(int error_class, int location, int line, const ZUL_UTF16 *text) {
  return rscp::ReportConversionError(source_name, error_class, location, line, text);
}

constexpr ZUL_UTF16 kOverflow[] = u"dest buffer overflow";
constexpr ZUL_UTF16 kBeyond[] = u"Cannot convert 32 Bit to UTF-7";
constexpr ZUL_UTF16 kExhausted[] = u"source exhausted within a char";
constexpr ZUL_UTF16 kInvalid[] = u"illegal UTF-7 byte";

// The encoder's output side: the destination, and the state of an open run.
class Encoder {
 public:
  Encoder(ZUL_RAW *d, ZUL_RAW *end, int option)
      : d_(d), end_(end), direct_mask_(option != 0 ? kIsDirect | kIsOptional : kIsDirect) {}

  ZUL_RAW *Dst() const { return d_; }

  bool Direct(uint32_t c) const { return c < 128 && (kTables.cls[c] & direct_mask_) != 0; }

  // Bytes that closing the run takes: the last digit, and the '-' when dash is set.
  int CloseBytes(bool dash) const { return in_run_ ? (bits_ > 0) + (dash ? 1 : 0) : 0; }

  void Close(bool dash) {
    if (!in_run_) return;
    if (bits_ > 0) *d_++ = static_cast<ZUL_RAW>(kBase64[(acc_ << (6 - bits_)) & 63]);
    if (dash) *d_++ = '-';
    in_run_ = false;
    bits_ = 0;
    acc_ = 0;
  }

  // Puts one character of n (1 or 2) units into a run; false when the room doesn't allow it,
  // closing what is open first, as the next call will open a run with '+'. Room for a closing
  // '-' is kept unless the character is the source's last, after which the run closes without.
  bool PutShifted(const uint32_t *units, int n, bool last) {
    int total = bits_ + 16 * n;
    long need = (in_run_ ? 0 : 1) + total / 6 + (total % 6 > 0 ? 1 : 0) + (last ? 0 : 1);
    if (end_ - d_ < need) {
      Close(true);
      return false;
    }
    if (!in_run_) {
      *d_++ = '+';
      in_run_ = true;
    }
    for (int i = 0; i < n; ++i) {
      acc_ = (acc_ << 16) | units[i];
      bits_ += 16;
      while (bits_ >= 6) {
        bits_ -= 6;
        *d_++ = static_cast<ZUL_RAW>(kBase64[(acc_ >> bits_) & 63]);
      }
      acc_ &= (1u << bits_) - 1;
    }
    return true;
  }

  // The ordinary path, with no room test per character: it runs to a bound of characters that
  // the room holds at 4 bytes each (the most one 16-bit character takes), keeping 10 bytes over
  // for closing the run. Answers where it stopped: at the end, where room runs short, or at a
  // value above 0xFFFF, which takes the careful path. The state lives in locals meanwhile: byte
  // stores could alias the members, and would force the compiler to reload them per character.
  template <class Unit, class RawFn>
  const Unit *Fast(const Unit *s, const Unit *end, RawFn raw) {
    ZUL_RAW *d = d_;
    uint32_t acc = acc_;
    int bits = bits_;
    bool in_run = in_run_;
    const uint8_t *kind = direct_mask_ == kIsDirect ? kKinds.plain : kKinds.optional;
    for (;;) {
      // A character writes at most 4 bytes: the loop runs to a bound that needs no room test.
      ptrdiff_t room = (end_ - d - 10) / 4 + 1;
      if (room <= 0 || s >= end) break;
      const Unit *bound = end - s > room ? s + room : end;
      for (; s < bound; ++s) {
        if (!in_run) {
          // Outside a run most characters are direct: a loop of its own, with one test each. A
          // single unit between two direct characters (a blank between words, mostly) is a run of
          // its own, written whole, so that the loop goes on.
          uint32_t c = raw(s);
          for (;;) {
            if (c < 128 && (kind[c] & kDirectChar) != 0) {
              *d++ = static_cast<ZUL_RAW>(c);
              if (++s == bound) goto next_bound;
              c = raw(s);
              continue;
            }
            if (c == '+' || c > 0xFFFF || s + 1 == bound) break;
            uint32_t n = raw(s + 1);
            if (n >= 128 || (kind[n] & kDirectChar) == 0) break;
            uint32_t v = c << 2;  // 16 bits and 2 of padding: three digits
            d[0] = '+';
            d[1] = static_cast<ZUL_RAW>(kBase64[v >> 12]);
            d[2] = static_cast<ZUL_RAW>(kBase64[(v >> 6) & 63]);
            d[3] = static_cast<ZUL_RAW>(kBase64[v & 63]);
            d[4] = '-';
            d += 4 + ((kind[n] & kDashAfterRun) != 0 ? 1 : 0);
            *d++ = static_cast<ZUL_RAW>(n);
            s += 2;
            if (s == bound) goto next_bound;
            c = raw(s);
          }
        }
        uint32_t c = raw(s);
        uint8_t k = kind[c < 128 ? c : 128];
        if (k != 0) {  // direct, or '+'
          if (in_run) {
            if (bits > 0) *d++ = static_cast<ZUL_RAW>(kBase64[(acc << (6 - bits)) & 63]);
            if (k & kDashAfterRun) *d++ = '-';
            in_run = false;
            bits = 0;
            acc = 0;
          }
          *d++ = static_cast<ZUL_RAW>(c);
          if (k & kPlus) *d++ = '-';
          continue;
        }
        if (c > 0xFFFF) goto out;
        if (!in_run) {
          *d++ = '+';
          in_run = true;
        }
        {
          // 16 new bits on 0, 2 or 4 pending make 2, 3 or 3 digits: all three are written, as
          // the room allows it, and the pointer moves by the count, without a branch per digit.
          acc = (acc << 16) | c;
          bits += 16;
          uint64_t wide = static_cast<uint64_t>(acc) << 6;
          d[0] = static_cast<ZUL_RAW>(kBase64[(wide >> bits) & 63]);
          d[1] = static_cast<ZUL_RAW>(kBase64[(wide >> (bits - 6)) & 63]);
          d[2] = static_cast<ZUL_RAW>(kBase64[(wide >> (bits - 12)) & 63]);
          int digits = bits >= 18 ? 3 : 2;
          d += digits;
          bits -= 6 * digits;
          acc &= (1u << bits) - 1;
        }
      }
    next_bound:;
    }
  out:
    d_ = d;
    acc_ = acc;
    bits_ = bits;
    in_run_ = in_run;
    return s;
  }

  // Puts a direct character, closing an open run before it.
  bool PutDirect(uint32_t c) {
    bool dash = IsBase64(c) || c == '-';
    if (end_ - d_ < CloseBytes(dash) + 1) {
      Close(dash);
      return false;
    }
    Close(dash);
    *d_++ = static_cast<ZUL_RAW>(c);
    return true;
  }

  // '+' is written "+-"; an open run closes with '-', as '+' is a Base64 digit.
  bool PutPlus() {
    if (end_ - d_ < CloseBytes(true) + 2) {
      Close(true);
      return false;
    }
    Close(true);
    *d_++ = '+';
    *d_++ = '-';
    return true;
  }

 private:
  ZUL_RAW *d_;
  ZUL_RAW *end_;
  uint8_t direct_mask_;
  bool in_run_ = false;
  int bits_ = 0;      // pending bits, fewer than 6
  uint32_t acc_ = 0;  // the pending bits in its low end
};

// Encodes characters read by next(pointer, units) -> count of units (1 or 2), or 0 for a value
// beyond UTF-16; raw(pointer) reads the plain value for the ordinary path.
template <class Unit, class NextFn, class RawFn>
int Encode(const Unit **src, const Unit *src_end, ZUL_RAW **dst, ZUL_RAW *dst_end, int option,
           NextFn next, RawFn raw) {
  const Unit *s = *src;
  Encoder e(*dst, dst_end, option);
  while (s < src_end) {
    s = e.Fast(s, src_end, raw);
    if (s == src_end) break;
    uint32_t units[2];
    int n = next(s, units);
    bool ok;
    if (n == 0) {
      e.Close(true);
      *src = s;
      *dst = e.Dst();
      return Fail(rscp::kInvalidInput, 3, __LINE__, kBeyond);
    }
    if (n == 1 && units[0] == '+')
      ok = e.PutPlus();
    else if (n == 1 && e.Direct(units[0]))
      ok = e.PutDirect(units[0]);
    else
      ok = e.PutShifted(units, n, s + 1 == src_end);
    if (!ok) {
      *src = s;
      *dst = e.Dst();
      return Fail(rscp::kDestOverflow, 1, __LINE__, kOverflow);
    }
    ++s;
  }
  e.Close(false);
  *src = s;
  *dst = e.Dst();
  return 0;
}

// Destination of the decoder for 16-bit units.
class U2Sink {
 public:
  U2Sink(ZUL_UTF16 *d, ZUL_UTF16 *end) : d_(d), end_(end) {}
  bool Put(uint32_t unit) {
    if (d_ == end_) return false;
    zulu16::U16Native::Store(d_++, unit);
    return true;
  }
  bool EndRun() { return true; }
  ZUL_UTF16 *Mark() const { return d_; }
  void Reset(ZUL_UTF16 *mark) { d_ = mark; }
  ZUL_UTF16 *Dst() const { return d_; }

 private:
  ZUL_UTF16 *d_;
  ZUL_UTF16 *end_;
};

// Destination of the decoder for 32-bit values: a surrogate pair inside one run becomes one value;
// a high surrogate without a low one is stored as it is.
class U4Sink {
 public:
  U4Sink(uint32_t *d, uint32_t *end) : d_(d), end_(end) {}
  bool Put(uint32_t unit) {
    if (held_ != 0) {
      if (unit >= 0xDC00 && unit <= 0xDFFF) {
        uint32_t value = ((held_ - 0xD800) << 10) + (unit - 0xDC00) + 0x10000;
        held_ = 0;
        return Store(value);
      }
      if (!EndRun()) return false;
    }
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      held_ = unit;
      return true;
    }
    return Store(unit);
  }
  bool EndRun() {
    if (held_ == 0) return true;
    uint32_t high = held_;
    held_ = 0;
    return Store(high);
  }
  uint32_t *Mark() const { return d_; }
  void Reset(uint32_t *mark) {
    d_ = mark;
    held_ = 0;
  }
  uint32_t *Dst() const { return d_; }

 private:
  bool Store(uint32_t value) {
    if (d_ == end_) return false;
    zulu16::U32Native::Store(d_++, value);
    return true;
  }
  uint32_t *d_;
  uint32_t *end_;
  uint32_t held_ = 0;
};

// Decodes UTF-7. Outside a run every 7-bit byte but '+' stands for itself. A run that the
// destination can't take whole, that the source cuts, or whose padding is wrong is given back:
// both pointers return to its '+', so that what stands before them decodes alone, and a call with
// more room or more source decodes the run from the start.
template <class Sink, class Unit>
int Decode(const ZUL_RAW **src, const ZUL_RAW *src_end, Unit **dst, Sink sink) {
  const ZUL_RAW *s = *src;
  auto stop = [&](const ZUL_RAW *at, int error_class, int location, int line,
                  const ZUL_UTF16 *text) {
    *src = at;
    *dst = sink.Dst();
    return Fail(error_class, location, line, text);
  };
  while (s < src_end) {
    uint32_t b = *s;
    if (b >= 0x80) return stop(s, rscp::kInvalidInput, 11, __LINE__, kInvalid);
    if (b != '+') {
      if (!sink.Put(b)) return stop(s, rscp::kDestOverflow, 12, __LINE__, kOverflow);
      ++s;
      continue;
    }
    if (s + 1 == src_end) return stop(s, rscp::kSourceExhausted, 13, __LINE__, kExhausted);
    if (s[1] == '-') {
      if (!sink.Put('+')) return stop(s, rscp::kDestOverflow, 14, __LINE__, kOverflow);
      s += 2;
      continue;
    }
    if (!IsBase64(s[1])) return stop(s, rscp::kInvalidInput, 15, __LINE__, kInvalid);
    const ZUL_RAW *run = s;
    auto mark = sink.Mark();
    const ZUL_RAW *p = s + 1;
    uint32_t acc = 0;
    int bits = 0;
    for (; p < src_end && *p < 128 && kTables.value[*p] >= 0; ++p) {
      acc = (acc << 6) | static_cast<uint32_t>(kTables.value[*p]);
      bits += 6;
      if (bits >= 16) {
        bits -= 16;
        if (!sink.Put((acc >> bits) & 0xFFFF)) {
          sink.Reset(mark);
          return stop(run, rscp::kDestOverflow, 16, __LINE__, kOverflow);
        }
        acc &= (1u << bits) - 1;
      }
    }
    if (bits >= 6 && p == src_end) {
      sink.Reset(mark);
      return stop(run, rscp::kSourceExhausted, 17, __LINE__, kExhausted);
    }
    // The padding of the last digit must be zero and shorter than one digit.
    if (bits >= 6 || acc != 0) {
      sink.Reset(mark);
      return stop(run, rscp::kInvalidInput, 19, __LINE__, kInvalid);
    }
    if (!sink.EndRun()) {
      sink.Reset(mark);
      return stop(run, rscp::kDestOverflow, 18, __LINE__, kOverflow);
    }
    if (p < src_end && *p == '-') ++p;
    s = p;
  }
  *src = s;
  *dst = sink.Dst();
  return 0;
}

}  // namespace

int U2nToUtf7n(const ZUL_UTF16 **src, const ZUL_UTF16 *src_end, ZUL_RAW **dst, ZUL_RAW *dst_end,
               int option, int) noexcept {
  return Encode(src, src_end, dst, dst_end, option, [](const ZUL_UTF16 *s, uint32_t *units) {
    units[0] = zulu16::U16Native::Load(s);
    return 1;
  }, [](const ZUL_UTF16 *s) { return zulu16::U16Native::Load(s); });
}

int U4nToUtf7n(const uint32_t **src, const uint32_t *src_end, ZUL_RAW **dst, ZUL_RAW *dst_end,
               int option, int) noexcept {
  return Encode(src, src_end, dst, dst_end, option, [](const uint32_t *s, uint32_t *units) {
    uint32_t c = zulu16::U32Native::Load(s);
    if (c <= 0xFFFF) {
      units[0] = c;
      return 1;
    }
    if (c > 0x10FFFF) return 0;
    units[0] = 0xD800 + ((c - 0x10000) >> 10);
    units[1] = 0xDC00 + ((c - 0x10000) & 0x3FF);
    return 2;
  }, [](const uint32_t *s) { return zulu16::U32Native::Load(s); });
}

int Utf7nToU2n(const ZUL_RAW **src, const ZUL_RAW *src_end, ZUL_UTF16 **dst,
               ZUL_UTF16 *dst_end) noexcept {
  return Decode(src, src_end, dst, U2Sink(*dst, dst_end));
}

int Utf7aToU4a(const ZUL_RAW **src, const ZUL_RAW *src_end, uint32_t **dst,
               uint32_t *dst_end) noexcept {
  return Decode(src, src_end, dst, U4Sink(*dst, dst_end));
}

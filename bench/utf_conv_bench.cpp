// UTF-8 <-> 16-bit text conversion, ours side by side with ICU, on short (48-byte) and long
// (64 KiB) texts of four kinds: ASCII, Latin-1-heavy, CJK and emoji.
#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include <string>
#include <vector>

#include "zul_u16conv.h"

namespace {

void AppendUtf8(std::string &s, char32_t c) {
  if (c < 0x80) {
    s += static_cast<char>(c);
  } else if (c < 0x800) {
    s += static_cast<char>(0xC0 | (c >> 6));
    s += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    s += static_cast<char>(0xE0 | (c >> 12));
    s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    s += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    s += static_cast<char>(0xF0 | (c >> 18));
    s += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    s += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    s += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// Text of about `bytes` UTF-8 bytes, cut at a character boundary, from a repeating pattern.
std::string MakeText(const std::u32string &pattern, size_t bytes) {
  std::string s;
  for (size_t i = 0;; ++i) {
    std::string next = s;
    AppendUtf8(next, pattern[i % pattern.size()]);
    if (next.size() > bytes) break;
    s.swap(next);
  }
  return s;
}

const std::u32string kAscii = U"The quick brown fox jumps over the lazy dog 0123456789. ";
const std::u32string kLatin1 =
    U"Größenänderung für Bücher: déjà vu, naïve façade, señor ÀÉÎÕÜ ßøæ ";
const std::u32string kCjk = U"東京都の天気は晴れ、気温は二十五度です。中文字符测试文本。";
const std::u32string kEmoji =
    U"😀😃😄😁😆😅🤣😂🙂🙃😉😊😇🥰😍🤩😘🚀🌍🎉";

std::u16string ToUtf16(const std::string &utf8) {
  std::u16string out(utf8.size() + 1, u'\0');
  int32_t len = 0;
  UErrorCode err = U_ZERO_ERROR;
  u_strFromUTF8(reinterpret_cast<UChar *>(out.data()), static_cast<int32_t>(out.size()), &len,
                utf8.data(), static_cast<int32_t>(utf8.size()), &err);
  out.resize(static_cast<size_t>(len));
  return out;
}

void OursFromUtf8(benchmark::State &state, const std::string &text) {
  std::vector<ZUL_UTF16> out(text.size() + 1);
  const auto *begin = reinterpret_cast<const ZUL_RAW *>(text.data());
  for (auto _ : state) {
    const ZUL_RAW *s = begin;
    ZUL_UTF16 *d = out.data();
    int rc = Utf8nToUtf16nSubst(&s, begin + text.size(), &d, out.data() + out.size(),
                                &rscpReplacementCharacter, nullptr);
    benchmark::DoNotOptimize(rc);
    benchmark::DoNotOptimize(d);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void IcuFromUtf8(benchmark::State &state, const std::string &text) {
  std::vector<UChar> out(text.size() + 1);
  for (auto _ : state) {
    int32_t len = 0;
    UErrorCode err = U_ZERO_ERROR;
    u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &len, text.data(),
                  static_cast<int32_t>(text.size()), &err);
    benchmark::DoNotOptimize(len);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void OursToUtf8(benchmark::State &state, const std::u16string &text, size_t utf8_bytes) {
  std::vector<ZUL_RAW> out(utf8_bytes + 1);
  for (auto _ : state) {
    const ZUL_UTF16 *s = text.data();
    ZUL_RAW *d = out.data();
    int rc = Utf16nToUtf8n(&s, text.data() + text.size(), &d, out.data() + out.size());
    benchmark::DoNotOptimize(rc);
    benchmark::DoNotOptimize(d);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8_bytes));
}

void IcuToUtf8(benchmark::State &state, const std::u16string &text, size_t utf8_bytes) {
  std::vector<char> out(utf8_bytes + 1);
  for (auto _ : state) {
    int32_t len = 0;
    UErrorCode err = U_ZERO_ERROR;
    u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &len,
                reinterpret_cast<const UChar *>(text.data()), static_cast<int32_t>(text.size()),
                &err);
    benchmark::DoNotOptimize(len);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8_bytes));
}

int RegisterAll() {
  const struct {
    const char *name;
    const std::u32string *pattern;
  } kinds[] = {{"ascii", &kAscii}, {"latin1", &kLatin1}, {"cjk", &kCjk}, {"emoji", &kEmoji}};
  const struct {
    const char *name;
    size_t bytes;
  } sizes[] = {{"48B", 48}, {"64KiB", 64 * 1024}};
  for (const auto &size : sizes) {
    for (const auto &kind : kinds) {
      const std::string utf8 = MakeText(*kind.pattern, size.bytes);
      const std::u16string utf16 = ToUtf16(utf8);
      const std::string tag = std::string(kind.name) + "_" + size.name;
      benchmark::RegisterBenchmark(("FromUtf8/" + tag + "/ours").c_str(), OursFromUtf8, utf8);
      benchmark::RegisterBenchmark(("FromUtf8/" + tag + "/icu").c_str(), IcuFromUtf8, utf8);
      benchmark::RegisterBenchmark(("ToUtf8/" + tag + "/ours").c_str(), OursToUtf8, utf16,
                                   utf8.size());
      benchmark::RegisterBenchmark(("ToUtf8/" + tag + "/icu").c_str(), IcuToUtf8, utf16,
                                   utf8.size());
    }
  }
  return 0;
}

const int registered = RegisterAll();

}  // namespace

BENCHMARK_MAIN();

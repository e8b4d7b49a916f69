// Option parsing over 16-bit argument vectors. getoptU follows the system's getopt in its strict
// order (options up to the first word that isn't one), so on ASCII vectors it must answer, step by
// step, what glibc's getopt answers with a "+" in front of the option string: the same option,
// optind, optarg and optopt. Option strings with glibc's own extensions (";" and "::") are only
// parsed. Every vector must be walked to its end in a bounded number of calls, with optarg inside
// the vector.
//
// Input: fields separated by zero bytes, one unit per byte (0xFF and two more bytes give any
// unit): the option string, then argv[0], argv[1] and so on.
#include <unistd.h>

#include <string>
#include <vector>

#include "fuzz_support.h"
#include "zul_u16string.h"
#include "zul_u16sys.h"

namespace {

constexpr size_t kMaxArgs = 32;

// Where an optarg points: the word and the offset in it; {-1, 0} for null.
template <class Char>
std::pair<int, long> Locate(const Char *arg, const std::vector<Char *> &argv) {
  if (arg == nullptr) return {-1, 0};
  for (size_t i = 0; argv[i] != nullptr; ++i) {
    const std::basic_string<Char> word(argv[i]);
    if (arg >= argv[i] && arg <= argv[i] + word.size()) return {static_cast<int>(i), arg - argv[i]};
  }
  FUZZ_REQUIRE(!"optarg outside the argument vector");
  return {-2, 0};
}

bool AsciiOnly(const std::u16string &text) {
  for (char16_t u : text)
    if (u >= 0x80) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const auto fields = fuzzsupport::Fields(data, size, 0);
  const std::u16string optstring = fuzzsupport::Units(fields[0].data(), fields[0].size());
  std::vector<std::u16string> words;
  size_t units = 0;
  for (size_t i = 1; i < fields.size() && words.size() < kMaxArgs; ++i) {
    words.push_back(fuzzsupport::Units(fields[i].data(), fields[i].size()));
    units += words.back().size() + 1;
  }
  const int argc = static_cast<int>(words.size());

  // glibc leaves optind at 0 for an empty vector.
  bool compare = argc > 0 && AsciiOnly(optstring) && optstring.find(u';') == std::u16string::npos &&
                 optstring.find(u"::") == std::u16string::npos;
  // Both vectors end in a null pointer, as main's does.
  std::vector<ZUL_UTF16 *> argv;
  std::vector<std::string> narrow_words;
  for (std::u16string &word : words) {
    argv.push_back(word.data());
    compare = compare && AsciiOnly(word);
    narrow_words.emplace_back(word.begin(), word.end());
  }
  std::vector<char *> narrow_argv;
  for (std::string &word : narrow_words) narrow_argv.push_back(word.data());
  argv.push_back(nullptr);
  narrow_argv.push_back(nullptr);
  const std::string narrow_optstring = "+" + std::string(optstring.begin(), optstring.end());

  // Messages stay off standard error; with a leading ':' the parser keeps quiet by itself.
  opterrU = optstring[0] == u':' ? 1 : 0;
  optindU = 0;
  opterr = 0;
  optind = 0;
  // Each call uses up at least one unit or one word.
  for (size_t calls = 0;; ++calls) {
    FUZZ_REQUIRE(calls <= units + 2);
    const int rc = getoptU(argc, argv.data(), optstring.c_str());
    FUZZ_REQUIRE(rc == -1 || rc == '?' || rc == ':' ||
                 optstring.find(static_cast<char16_t>(rc)) != std::u16string::npos);
    FUZZ_REQUIRE(optindU >= 1 && optindU <= (argc > 0 ? argc : 1));
    const auto where = Locate<ZUL_UTF16>(optargU, argv);
    FUZZ_REQUIRE(optargU == nullptr || where.first >= 1);
    if (compare) {
      const int their_rc = getopt(argc, narrow_argv.data(), narrow_optstring.c_str());
      FUZZ_REQUIRE(rc == their_rc && optindU == optind);
      FUZZ_REQUIRE(where == Locate<char>(optarg, narrow_argv));
      // optopt tells the option of an error; a declared '?' is no error, and leaves it stale.
      const bool error = rc == ':' || (rc == '?' && optstring.find(u'?') == std::u16string::npos);
      if (error) FUZZ_REQUIRE(optoptU == optopt);
    }
    if (rc == -1) break;
  }
  return 0;
}

// Option parsing over 16-bit arguments, and the stored 16-bit command line. The parser follows
// the system's getopt: options are parsed up to the first argument that isn't one or up to "--",
// grouped options ("-ab") are taken apart, and an option's argument is the rest of its word or
// the next word. Its state is process-wide, as the system's is.
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_sys.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

ZUL_UTF16 *optargU = nullptr;
int optindU = 1;
int opterrU = 1;
int optoptU = '?';

namespace {

constexpr char kSource[] = "u16_getopt";

// Position of the next option character within argv[optindU]; 0 between words.
int next_char = 0;

// The stored command line: one block of argc + 1 pointers followed by the strings.
ZUL_UTF16 **stored_cmdline = nullptr;
THR_MTX cmdline_mutex = PTHREAD_MUTEX_INITIALIZER;

void Complain(const ZUL_UTF16 *optstring, const ZUL_UTF16 *format, ZUL_UTF16 *const argv[],
              int option) {
  if (opterrU == 0 || optstring[0] == u':') return;
  static const ZUL_UTF16 kNoName[] = u"";
  fprintfU16(stderr, format, argv[0] != nullptr ? argv[0] : kNoName, option);
}

// Moves to the next word once the current one is used up.
void FinishWordIf(bool used_up) {
  if (used_up) {
    ++optindU;
    next_char = 0;
  }
}

}  // namespace

int getoptU(int argc, ZUL_UTF16 *const argv[], const ZUL_UTF16 *optstring) noexcept {
  if (optindU == 0) {
    optindU = 1;
    next_char = 0;
  }
  optargU = nullptr;
  if (argv == nullptr || optstring == nullptr) return -1;
  if (next_char == 0) {
    if (optindU >= argc || argv[optindU] == nullptr) return -1;
    const ZUL_UTF16 *word = argv[optindU];
    if (word[0] != u'-' || word[1] == 0) return -1;
    if (word[1] == u'-' && word[2] == 0) {
      ++optindU;
      return -1;
    }
    next_char = 1;
  }
  const ZUL_UTF16 *word = argv[optindU];
  ZUL_UTF16 option = word[next_char++];
  bool last = word[next_char] == 0;
  const ZUL_UTF16 *declared = option == u':' ? nullptr : strchrU16(optstring, option);
  if (declared == nullptr) {
    optoptU = option;
    Complain(optstring, u"%s: illegal option -- %c\n", argv, option);
    FinishWordIf(last);
    return '?';
  }
  if (declared[1] != u':') {
    FinishWordIf(last);
    return option;
  }
  if (!last) {
    optargU = const_cast<ZUL_UTF16 *>(&word[next_char]);
    FinishWordIf(true);
    return option;
  }
  FinishWordIf(true);
  if (optindU >= argc || argv[optindU] == nullptr) {
    optoptU = option;
    Complain(optstring, u"%s: option requires an argument -- %c\n", argv, option);
    return optstring[0] == u':' ? ':' : '?';
  }
  optargU = argv[optindU++];
  return option;
}

ZUL_UTF16 **u16_set_cmdline(int argc, char *const argv[]) noexcept {
  if (argc < 0 || (argc > 0 && argv == nullptr)) return nullptr;
  size_t count = static_cast<size_t>(argc);
  size_t units = 0;
  for (size_t i = 0; i < count; ++i) units += (argv[i] != nullptr ? std::strlen(argv[i]) : 0) + 1;
  size_t bytes = (count + 1) * sizeof(ZUL_UTF16 *) + units * sizeof(ZUL_UTF16);
  auto **vector = static_cast<ZUL_UTF16 **>(std::malloc(bytes));
  if (vector == nullptr) {
    nlsui_malloc_error("u16_set_cmdline", kSource, __LINE__, bytes);
    return nullptr;
  }
  auto *text = reinterpret_cast<ZUL_UTF16 *>(vector + count + 1);
  for (size_t i = 0; i < count; ++i) {
    // No more units than bytes, so each string fits its share exactly.
    size_t size = (argv[i] != nullptr ? std::strlen(argv[i]) : 0) + 1;
    vector[i] = text;
    zulu16::ResultToBuffer(text, size, argv[i], kSource, __LINE__, "u16_set_cmdline", "argv",
                           "argv");
    text += size;
  }
  vector[count] = nullptr;
  ZUL_UTF16 **old;
  {
    zulu16::MtxGuard lock(&cmdline_mutex);
    old = stored_cmdline;
    stored_cmdline = vector;
  }
  std::free(old);
  return vector;
}

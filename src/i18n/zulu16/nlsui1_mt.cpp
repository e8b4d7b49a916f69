// The class loader: the exported class pointers and their first-call stubs, the one load of ICU
// by name, and the switches between ICU's classes and the 7-bit ones. Every report goes to
// standard error by fprintf as 8-bit text, since the text runtime may not be ready.
#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "i18n/zulu16/nlsui.h"
#include "i18n/zulu16/u16_sys.h"
#include "zul_nlsui.h"
#include "zul_u16string.h"
#include "zul_u16sys.h"

namespace zulu16::nlsui {

namespace {

// Mode flags and levels, each a relaxed atomic (see Load and Store).
bool icu_loaded = false;  // the once flag: a load has been made, or the 7-bit mode requested
bool icu_in_use = false;
bool fallback_in_use = false;
bool seven_bit_mode = false;  // by request: nlsui_set7bitUnicode
int init_trace_level = 0;
int trace_level = 0;
bool only_historic_names = false;

constexpr const char *kLevelNames[] = {"none", "low", "medium", "high"};

// The ICU libraries in their load order. common depends on data, i18n on both.
enum Library { kData, kCommon, kI18n };
constexpr const char *kLibraryBase[] = {"libicudata.so.", "libicuuc.so.", "libicui18n.so."};
constexpr const char *kLibraryRole[] = {"data", "common", "I18n"};

struct IcuName {
  const char *name;  // without the version suffix
  Library library;   // the library whose own symbols hold it
};
// Indexed by IcuFunction for the character and version functions; the rest are the groups the
// runtime may call later, fetched so that their absence shows in the load's report.
// clang-format off
constexpr IcuName kIcuNames[] = {
    {"u_isalnum", kCommon}, {"u_isalpha", kCommon}, {"u_iscntrl", kCommon}, {"u_islower", kCommon},
    {"u_isprint", kCommon}, {"u_isspace", kCommon}, {"u_isupper", kCommon}, {"u_toupper", kCommon},
    {"u_tolower", kCommon}, {"u_getVersion", kCommon}, {"u_versionToString", kCommon},
    {"u_getUnicodeVersion", kCommon}, {"ucol_open", kI18n}, {"ucol_strcoll", kI18n},
    {"ucol_close", kI18n}, {"ucol_setStrength", kI18n}, {"ucol_getSortKey", kI18n},
    {"ucol_getLocaleByType", kI18n}, {"ucal_open", kI18n}, {"ucal_close", kI18n},
    {"ucal_get", kI18n}, {"ucal_set", kI18n}, {"ucal_getMillis", kI18n}, {"ucal_setMillis", kI18n},
    {"uidna_openUTS46", kCommon}, {"uidna_close", kCommon}, {"uidna_nameToASCII", kCommon},
    {"uidna_nameToUnicode", kCommon}, {"unorm_normalize", kCommon}, {"unorm_quickCheck", kCommon},
    {"unorm_isNormalized", kCommon}, {"unorm_next", kCommon}, {"unorm_previous", kCommon},
    {"utrans_openU", kI18n}, {"utrans_close", kI18n}, {"utrans_transUChars", kI18n},
    {"ubrk_open", kCommon}, {"ubrk_close", kCommon}, {"ubrk_first", kCommon},
    {"ubrk_next", kCommon}, {"uloc_getDefault", kCommon},
};
// clang-format on
constexpr size_t kIcuNameCount = sizeof kIcuNames / sizeof kIcuNames[0];
static_assert(kIcuNameCount <= kIcuFunctionSlots);

// One version to try: the number in the library names and the suffix of the symbols.
struct IcuVersion {
  std::string library;  // "34", "72"
  std::string symbol;   // "_3_4", "_72"
};

// The majors tried after the build's own, downward from this one.
constexpr int kHighestMajor = 99;
constexpr int kLowestMajor = 36;

// Directories from nlsui_addIcuSearchPath, in call order; guarded by search_mutex.
THR_MTX search_mutex = PTHREAD_MUTEX_INITIALIZER;
std::vector<std::string> *search_paths = nullptr;

void Report(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
void Report(int level, const char *format, ...) {
  if (Load(init_trace_level) < level) return;
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
}

int ParseLevel(const char *text) {
  if (text == nullptr) return 0;
  for (int i = 0; i < 4; ++i) {
    if (std::strcmp(text, kLevelNames[i]) == 0) return i;
  }
  if (text[0] >= '0' && text[0] <= '3' && text[1] == 0) return text[0] - '0';
  return 0;
}

void ReadEnvironment() {
  const int level = ParseLevel(std::getenv("NLSUI_INIT_TRACE_LEVEL"));
  Store(init_trace_level, level);
  Store(trace_level, ParseLevel(std::getenv("NLSUI_TRACE_LEVEL")));
  Report(1, "NLSUI_INIT_TRACE_LEVEL set to '%s'\n", kLevelNames[level]);
}

void Install(const ClassSet &set) {
  Store(isalnumU, set.isalnum);
  Store(isalphaU, set.isalpha);
  Store(iscntrlU, set.iscntrl);
  Store(islowerU, set.islower);
  Store(isprintU, set.isprint);
  Store(isspaceU, set.isspace);
  Store(isupperU, set.isupper);
  Store(toupperU, set.toupper);
  Store(tolowerU, set.tolower);
}

std::vector<IcuVersion> VersionsToTry() {
  std::vector<IcuVersion> versions{{"34", "_3_4"}};
  if (Load(only_historic_names)) return versions;
  int build_major = 0;
#ifdef TLM_ICU_BUILD_MAJOR
  build_major = TLM_ICU_BUILD_MAJOR;
  versions.push_back({std::to_string(build_major), "_" + std::to_string(build_major)});
#endif
  for (int major = kHighestMajor; major >= kLowestMajor; --major) {
    if (major != build_major)
      versions.push_back({std::to_string(major), "_" + std::to_string(major)});
  }
  return versions;
}

std::vector<std::string> SearchPaths() {
  MtxGuard lock(&search_mutex);
  return search_paths != nullptr ? *search_paths : std::vector<std::string>{};
}

void ReportDlerror() {
  const char *error = dlerror();
  if (error != nullptr) {
    Report(2, "Error message: \"%s\"\n", error);
  } else {
    Report(2, "Error message: %s\n", "<no error message>");
  }
}

void *OpenOne(Library library, const std::string &path) {
  void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    ReportDlerror();
    return nullptr;
  }
  Report(2, "Loaded ICU %s lib: %s\n", kLibraryRole[library], path.c_str());
  Report(3, "Library handle for %s: %p\n", path.c_str(), handle);
  return handle;
}

// Opens one library of a version: in each search directory, then by the loader's search.
void *Open(Library library, const IcuVersion &version, const std::vector<std::string> &dirs) {
  const std::string name = kLibraryBase[library] + version.library;
  for (const std::string &dir : dirs) {
    if (void *handle = OpenOne(library, dir + "/" + name)) return handle;
  }
  return OpenOne(library, name);
}

// Fetches every function of the table from its library; answers whether all character
// functions are there.
bool FetchFunctions(void *const handles[3], const std::string &suffix) {
  bool characters = true;
  for (size_t i = 0; i < kIcuNameCount; ++i) {
    const std::string name = kIcuNames[i].name + suffix;
    void *handle = handles[kIcuNames[i].library];
    void *f = handle != nullptr ? dlsym(handle, name.c_str()) : nullptr;
    Store(icu_functions[i], f);
    Report(f != nullptr ? 3 : 1, "Function pointer for %s: %p\n", name.c_str(), f);
    if (f == nullptr && i < kCharacterFunctions) characters = false;
  }
  return characters;
}

void ReportVersions() {
#ifdef TLM_ICU_BUILD_MAJOR
  Report(2, "Compiled with ICU version %d\n", TLM_ICU_BUILD_MAJOR);
#else
  Report(2, "Compiled with ICU version %s\n", "<unknown>");
#endif
  using GetVersion = void (*)(uint8_t *);
  using VersionToString = void (*)(const uint8_t *, char *);
  auto get = reinterpret_cast<GetVersion>(IcuSymbol(kGetVersion));
  auto unicode = reinterpret_cast<GetVersion>(IcuSymbol(kGetUnicodeVersion));
  auto to_string = reinterpret_cast<VersionToString>(IcuSymbol(kVersionToString));
  if (to_string == nullptr) return;
  uint8_t version[4];
  char text[20];  // ICU's U_MAX_VERSION_STRING_LENGTH
  if (get != nullptr) {
    get(version);
    to_string(version, text);
    Report(2, "Running with ICU version %s\n", text);
  }
  if (unicode != nullptr) {
    unicode(version);
    to_string(version, text);
    Report(2, "ICU uses Unicode version %s\n", text);
  }
}

void FallBack() {
  useFallBackCtype();
  Report(1, "Unicode ctype functions are replaced with 7bit fallback functions\n");
}

// Tries each version until its data and common libraries open. A version whose common library
// lacks a character function ends the search in the 7-bit classes.
void LoadIcuLibraries() {
  if (std::getenv("NLSUI_7BIT_FALLBACK") != nullptr) return FallBack();
  const std::vector<std::string> dirs = SearchPaths();
  for (const IcuVersion &version : VersionsToTry()) {
    void *handles[3] = {Open(kData, version, dirs), nullptr, nullptr};
    if (handles[kData] == nullptr) continue;
    handles[kCommon] = Open(kCommon, version, dirs);
    if (handles[kCommon] == nullptr) {
      dlclose(handles[kData]);
      continue;
    }
    handles[kI18n] = Open(kI18n, version, dirs);
    if (!FetchFunctions(handles, version.symbol)) return FallBack();
    ReportVersions();
    // The libraries stay loaded for the life of the process: the class pointers lead into them.
    useICUCtype();
    return;
  }
  FallBack();
}

void loadIcuDo() {
  ReadEnvironment();
  Report(2, "loadIcuDo() is called\n");
  const char *library_path = std::getenv("LD_LIBRARY_PATH");
  Report(2, "LD_LIBRARY_PATH is set to %s \n",
         library_path != nullptr ? library_path : "<not set>");
  try {
    LoadIcuLibraries();
  } catch (...) {
    // Out of memory while building names: the 7-bit classes need none.
    FallBack();
  }
}

// The first-call stubs: load, then answer through whatever the load installed.
#define NLSUI_STUB(type, name)   \
  type name##Stub(ZUL_UTF16 c) { \
    loadIcu();                   \
    return Load(::name)(c);      \
  }
NLSUI_STUB(int, isalnumU)
NLSUI_STUB(int, isalphaU)
NLSUI_STUB(int, iscntrlU)
NLSUI_STUB(int, islowerU)
NLSUI_STUB(int, isprintU)
NLSUI_STUB(int, isspaceU)
NLSUI_STUB(int, isupperU)
NLSUI_STUB(ZUL_UTF16, toupperU)
NLSUI_STUB(ZUL_UTF16, tolowerU)
#undef NLSUI_STUB

const ClassSet kStubClasses = {isalnumUStub, isalphaUStub, iscntrlUStub, islowerUStub, isprintUStub,
                               isspaceUStub, isupperUStub, toupperUStub, tolowerUStub};

}  // namespace

int InitTraceLevel() { return Load(init_trace_level); }
int TraceLevel() { return Load(trace_level); }

void *icu_functions[kIcuFunctionSlots];

void ResetForTest(bool only_historic) {
  Install(kStubClasses);
  for (void *&f : icu_functions) Store(f, static_cast<void *>(nullptr));
  Store(icu_loaded, false);
  Store(icu_in_use, false);
  Store(fallback_in_use, false);
  Store(seven_bit_mode, false);
  Store(only_historic_names, only_historic);
}

}  // namespace zulu16::nlsui

using namespace zulu16::nlsui;

// Constant-initialised: no constructor runs before the first classification.
int (*isalnumU)(ZUL_UTF16) = isalnumUStub;
int (*isalphaU)(ZUL_UTF16) = isalphaUStub;
int (*iscntrlU)(ZUL_UTF16) = iscntrlUStub;
int (*islowerU)(ZUL_UTF16) = islowerUStub;
int (*isprintU)(ZUL_UTF16) = isprintUStub;
int (*isspaceU)(ZUL_UTF16) = isspaceUStub;
int (*isupperU)(ZUL_UTF16) = isupperUStub;
ZUL_UTF16 (*toupperU)(ZUL_UTF16) = toupperUStub;
ZUL_UTF16 (*tolowerU)(ZUL_UTF16) = tolowerUStub;

void nlsui_initialize(void) noexcept { ReadEnvironment(); }

void nlsui_store_cmdline(int argc, char *const argv[]) noexcept { u16_set_cmdline(argc, argv); }

void loadIcu(void) noexcept {
  if (Load(icu_loaded)) return;
  loadIcuDo();
  Store(icu_loaded, true);
}

void useICUCtype(void) noexcept {
  Install(kIcuClasses);
  Store(icu_in_use, true);
  Store(fallback_in_use, false);
}

void useFallBackCtype(void) noexcept {
  Install(kSevenBitClasses);
  Store(fallback_in_use, true);
  Store(icu_in_use, false);
}

void nlsui_set7bitUnicode(void) noexcept {
  ReadEnvironment();
  Report(1, "nlsui_set7bitUnicode() is called\n");
  Store(seven_bit_mode, true);
  Store(icu_loaded, true);
  useFallBackCtype();
}

int nlsui_addIcuSearchPath(const char *path) noexcept {
  if (path == nullptr || path[0] == 0) return -1;
  try {
    zulu16::MtxGuard lock(&search_mutex);
    if (search_paths == nullptr) search_paths = new std::vector<std::string>;
    search_paths->emplace_back(path);
    return 0;
  } catch (...) {
    return -1;
  }
}

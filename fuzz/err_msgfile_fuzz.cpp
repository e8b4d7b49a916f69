// The message file of the error information, with any contents: ErrGetTxt looks a key up in it,
// and an error whose text carries that key is read back translated, which merges the file's
// message with the error's arguments. On files of ASCII without zero bytes the lookup must find
// what a plain reading of the line rule finds: lines of at most 255 units (longer ones are read in
// pieces), the language unit, the key, one unit, then the text up to the newline, cut to the
// buffer.
//
// Input: byte 0 is the language, byte 1 the buffer size less one, then the key (one unit per byte,
// 0xFF and two more bytes give any unit) up to a newline; the rest is the file.
#include <algorithm>
#include <memory>
#include <string>

#include "fuzz_support.h"
#include "zul_err.h"
#include "zul_u16string.h"

namespace {

constexpr size_t kLineUnits = 255;

// The lookup by the line rule, on a file of bytes from 1 to 127; false when no line matches.
bool PlainLookup(const std::string &file, char16_t lang, const std::u16string &key, size_t size,
                 std::u16string *text) {
  for (size_t pos = 0; pos < file.size();) {
    size_t end = std::min(file.find('\n', pos), file.size() - 1) + 1;
    end = std::min(end, pos + kLineUnits);
    std::u16string line(file.begin() + pos, file.begin() + end);
    pos = end;
    if (line[0] != lang || line.compare(1, key.size(), key) != 0) continue;
    if (line.back() == u'\n') line.pop_back();
    const size_t start = key.size() + 2;
    *text = start < line.size() ? line.substr(start, size - 1) : u"";
    return true;
  }
  return false;
}

bool AsciiWithoutNul(const std::string &file) {
  return std::all_of(file.begin(), file.end(), [](char c) { return c > 0; });
}

// An error whose text has the key, read back in the language.
void ReadTranslated(const std::u16string &key, char16_t lang) {
  if (key.empty() || key.size() > ERR_MAX_KEY_LENGTH || key.find(u'%') != std::u16string::npos)
    return;
  FUZZ_REQUIRE(ErrSetMsgKey(static_cast<int>(key.size())) == ERR_OK);
  const std::u16string format = u"(" + key + u") untranslated %s, %s";
  ErrSet(u"FUZZ", 1, u"err_msgfile_fuzz", __LINE__, format.c_str(), 1, nullptr, u"one", u"&2");
  FUZZ_REQUIRE(ErrGetFldL(ERR_FLD_TEXT, lang) != nullptr);
  ErrPrL(lang);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static fuzzsupport::TempDir directory;
  static const bool kQuiet = [] {
    ct_level = 0;
    return true;
  }();
  (void)kQuiet;
  if (size < 2) return 0;
  const char16_t lang = data[0];
  const size_t buffer_size = data[1] + 1u;
  const uint8_t *rest = data + 2;
  const uint8_t *newline = std::find(rest, data + size, '\n');
  std::u16string key = fuzzsupport::Units(rest, newline - rest);
  key = key.substr(0, key.find(u'\0'));
  const uint8_t *file = newline == data + size ? newline : newline + 1;
  const std::string path = directory.Write("errmsg", file, data + size - file);

  ErrSetGetTxt(nullptr);
  FUZZ_REQUIRE(ErrSetMsgFile(std::u16string(path.begin(), path.end()).c_str()) == ERR_OK);
  std::unique_ptr<ZUL_UTF16[]> buffer(new ZUL_UTF16[buffer_size]);
  const int found = ErrGetTxt(key.c_str(), lang, buffer.get(), static_cast<int>(buffer_size));
  FUZZ_REQUIRE(found == 0 || found == 1);
  FUZZ_REQUIRE(strnlenU16(buffer.get(), buffer_size) < buffer_size);
  const std::string contents(file, data + size);
  std::u16string expected;
  if (AsciiWithoutNul(contents)) {
    FUZZ_REQUIRE(found == PlainLookup(contents, lang, key, buffer_size, &expected));
    FUZZ_REQUIRE(found == 0 || expected == buffer.get());
  }
  ReadTranslated(key, lang);
  ErrFree(nullptr);  // the record, the file name and the open stream: the next run starts afresh
  return 0;
}

// The growable string of 16-bit text used by the instrumentation core, and the UTF-8 form of such
// a string for the system calls that open files by name.
#ifndef TLM_I18N_ZULU16_ZULSTRING_H
#define TLM_I18N_ZULU16_ZULSTRING_H

#include <memory>
#include <string>

#include "zul_base.h"

// Compares unit by unit (char16_t is unsigned), a shorter string first on a common prefix.
typedef std::basic_string<ZUL_UTF16> zulstring;

namespace zulu16 {

// The UTF-8 form of a file name, in a buffer of four bytes per unit plus one, converted with
// Utf16nToUtf8n; a unit that doesn't convert (half a surrogate pair) ends the name there. When the
// buffer can't be allocated, the string class's allocation message goes to standard error and the
// name is empty, so that opening it fails.
class FileNameBytes {
 public:
  explicit FileNameBytes(const zulstring &name) noexcept;
  FileNameBytes(const FileNameBytes &) = delete;
  FileNameBytes &operator=(const FileNameBytes &) = delete;

  // Zero-terminated; valid while this object lives.
  const char *c_str() const noexcept { return bytes_ ? bytes_.get() : ""; }

 private:
  std::unique_ptr<char[]> bytes_;
};

}  // namespace zulu16

#endif  // TLM_I18N_ZULU16_ZULSTRING_H

// Wrappers of the exec family. Argument and environment vectors are converted into UTF-8 copies
// of exact size, since they have no fixed limit; a failed exec frees them and keeps its errno.
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

#include "i18n/zulu16/u16_sys.h"

namespace {

constexpr char kSource[] = "u16_sys_exec";

// A null-terminated vector of UTF-8 copies; get() is null for a null source vector.
class Utf8Vector {
 public:
  Utf8Vector() = default;
  Utf8Vector(const Utf8Vector &) = delete;
  Utf8Vector &operator=(const Utf8Vector &) = delete;
  ~Utf8Vector() {
    int saved = errno;
    for (size_t i = 0; i < count_; ++i) std::free(items_[i]);
    std::free(items_);
    errno = saved;
  }

  // Both answer false, reported, when memory fails.
  bool Assign(ZUL_UTF16 *const *vector, const char *function) {
    if (vector == nullptr) return true;
    for (; *vector != nullptr; ++vector)
      if (!Append(*vector, function)) return false;
    return Terminate(function);
  }
  // Takes first and the variable arguments up to a null pointer.
  bool AssignList(const ZUL_UTF16 *first, va_list *args, const char *function) {
    for (const ZUL_UTF16 *item = first; item != nullptr; item = va_arg(*args, const ZUL_UTF16 *))
      if (!Append(item, function)) return false;
    return Terminate(function);
  }

  char *const *get() const { return items_; }

 private:
  bool Reserve(const char *function) {
    if (count_ < capacity_) return true;
    size_t capacity = capacity_ == 0 ? 8 : capacity_ * 2;
    void *grown = std::realloc(items_, capacity * sizeof(char *));
    if (grown == nullptr) {
      nlsui_malloc_error(function, kSource, __LINE__, capacity * sizeof(char *));
      return false;
    }
    items_ = static_cast<char **>(grown);
    capacity_ = capacity;
    return true;
  }
  bool Append(const ZUL_UTF16 *text, const char *function) {
    if (!Reserve(function)) return false;
    char *copy = zulu16::DupUtf8(text, 3, function);
    if (copy == nullptr) return false;
    items_[count_++] = copy;
    return true;
  }
  bool Terminate(const char *function) {
    if (!Reserve(function)) return false;
    items_[count_] = nullptr;  // not counted: the destructor frees count_ items
    return true;
  }

  char **items_ = nullptr;
  size_t count_ = 0;
  size_t capacity_ = 0;
};

enum class Exec { kPath, kEnvironment, kSearch };

int ExecList(Exec kind, const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args,
             const char *function) {
  va_list list;
  va_copy(list, args);
  Utf8Vector argv;
  bool ok = argv.AssignList(arg, &list, function);
  Utf8Vector envp;
  if (ok && kind == Exec::kEnvironment) {
    ok = envp.Assign(va_arg(list, ZUL_UTF16 *const *), function);
  }
  va_end(list);
  if (!ok) return -1;
  U16_ARG(path, MAX_PATH_LN, cpath, function, "cpath");
  switch (kind) {
    case Exec::kPath:
      return execv(path.get(), argv.get());
    case Exec::kEnvironment:
      return execve(path.get(), argv.get(), envp.get());
    case Exec::kSearch:
      return execvp(path.get(), argv.get());
  }
  return -1;
}

}  // namespace

int execvU16(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[]) noexcept {
  Utf8Vector args;
  if (!args.Assign(argv, "execvU16")) return -1;
  U16_ARG(path, MAX_PATH_LN, cpath, "execvU16", "cpath");
  return execv(path.get(), args.get());
}

int execveU16(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[], ZUL_UTF16 *const envp[]) noexcept {
  Utf8Vector args;
  Utf8Vector env;
  if (!args.Assign(argv, "execveU16") || !env.Assign(envp, "execveU16")) return -1;
  U16_ARG(path, MAX_PATH_LN, cpath, "execveU16", "cpath");
  return execve(path.get(), args.get(), env.get());
}

int execvpU16(const ZUL_UTF16 *cpath, ZUL_UTF16 *const argv[]) noexcept {
  Utf8Vector args;
  if (!args.Assign(argv, "execvpU16")) return -1;
  U16_ARG(path, MAX_PATH_LN, cpath, "execvpU16", "cpath");
  return execvp(path.get(), args.get());
}

int vexeclU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) noexcept {
  return ExecList(Exec::kPath, cpath, arg, args, "vexeclU16");
}

int vexecleU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) noexcept {
  return ExecList(Exec::kEnvironment, cpath, arg, args, "vexecleU16");
}

int vexeclpU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, va_list args) noexcept {
  return ExecList(Exec::kSearch, cpath, arg, args, "vexeclpU16");
}

int execlU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) noexcept {
  va_list args;
  va_start(args, arg);
  int rc = ExecList(Exec::kPath, cpath, arg, args, "execlU16");
  va_end(args);
  return rc;
}

int execleU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) noexcept {
  va_list args;
  va_start(args, arg);
  int rc = ExecList(Exec::kEnvironment, cpath, arg, args, "execleU16");
  va_end(args);
  return rc;
}

int execlpU16(const ZUL_UTF16 *cpath, const ZUL_UTF16 *arg, ...) noexcept {
  va_list args;
  va_start(args, arg);
  int rc = ExecList(Exec::kSearch, cpath, arg, args, "execlpU16");
  va_end(args);
  return rc;
}

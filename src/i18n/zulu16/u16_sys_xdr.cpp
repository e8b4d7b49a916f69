// The XDR string filter on 16-bit text. The C library keeps xdr_string only as a compatibility
// symbol, which a link can't bind; it is looked up at first use instead, or taken from libtirpc
// loaded then, so that the library has no link-time dependency on either.
#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "i18n/zulu16/u16_sys.h"

namespace {

constexpr char kSource[] = "u16_sys_xdr";

using XdrString = int (*)(void *xdrs, char **sp, unsigned int maxsize);

// The operation of an XDR stream: its record begins with it in both the C library and libtirpc.
enum XdrOp { kEncode = 0, kDecode = 1, kFree = 2 };

XdrString Lookup() {
  if (void *libc = dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD); libc != nullptr) {
    void *f = dlvsym(libc, "xdr_string", "GLIBC_2.2.5");
    dlclose(libc);
    if (f != nullptr) return reinterpret_cast<XdrString>(f);
  }
  // The handle stays open: the function is used for the rest of the process.
  if (void *tirpc = dlopen("libtirpc.so.3", RTLD_LAZY); tirpc != nullptr) {
    if (void *f = dlsym(tirpc, "xdr_string"); f != nullptr) return reinterpret_cast<XdrString>(f);
    dlclose(tirpc);
  }
  return nullptr;
}

// Looked up once; a lost race looks up twice and stores the same answer.
XdrString XdrStringFunction() {
  static std::atomic<bool> done{false};
  static std::atomic<XdrString> function{nullptr};
  if (!done.load(std::memory_order_acquire)) {
    function.store(Lookup(), std::memory_order_relaxed);
    done.store(true, std::memory_order_release);
  }
  return function.load(std::memory_order_relaxed);
}

}  // namespace

int xdr_stringU16(void *xdrs, ZUL_UTF16 **sp, unsigned int maxsize) noexcept {
  if (xdrs == nullptr || sp == nullptr) return 0;
  int op;
  std::memcpy(&op, xdrs, sizeof op);
  if (op == kFree) {
    std::free(*sp);
    *sp = nullptr;
    return 1;
  }
  XdrString xdr_string = XdrStringFunction();
  if (xdr_string == nullptr) return 0;
  if (op == kEncode) {
    if (*sp == nullptr) return 0;
    size_t units = 0;
    while ((*sp)[units] != 0) ++units;
    size_t size = 3 * units + 1;
    char *text = static_cast<char *>(std::malloc(size));
    if (text == nullptr) return 0;
    nlsui_U2sToUtf8s_checked(text, *sp, size, kSource, __LINE__, "xdr_stringU16", "sp",
                             "MAX_PATH_LN");
    int rc = xdr_string(xdrs, &text, maxsize);
    std::free(text);
    return rc;
  }
  if (op != kDecode) return 0;
  char *text = nullptr;
  int rc = xdr_string(xdrs, &text, maxsize);
  if (rc == 0 || text == nullptr) {
    std::free(text);
    return rc;
  }
  size_t length = std::strlen(text);
  size_t units = *sp != nullptr ? static_cast<size_t>(maxsize) + 1 : length + 1;
  ZUL_UTF16 *dst = *sp;
  if (dst == nullptr) dst = static_cast<ZUL_UTF16 *>(std::malloc(units * sizeof(ZUL_UTF16)));
  if (dst != nullptr) {
    zulu16::ResultToBuffer(dst, units, text, kSource, __LINE__, "xdr_stringU16", "sp",
                           "maxsize");
    *sp = dst;
  } else {
    rc = 0;
  }
  std::free(text);
  return rc;
}

int xdr_stringU(void *xdrs, ZUL_UTF16 **sp, unsigned int maxsize) noexcept {
  return xdr_stringU16(xdrs, sp, maxsize);
}

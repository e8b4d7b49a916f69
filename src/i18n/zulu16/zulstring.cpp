// UTF-8 file names from zulstring.
#include "i18n/zulu16/zulstring.h"

#include <cstdio>
#include <new>

#include "zul_u16conv.h"

namespace zulu16 {

FileNameBytes::FileNameBytes(const zulstring &name) noexcept {
  size_t size = name.size() * 4 + 1;
  bytes_.reset(new (std::nothrow) char[size]);
  if (!bytes_) {
    fprintf(stderr, "%s:%d: Memory allocation failed\n", __FILE__, __LINE__);
    return;
  }
  const ZUL_UTF16 *src = name.data();
  ZUL_RAW *dst = reinterpret_cast<ZUL_RAW *>(bytes_.get());
  Utf16nToUtf8n(&src, name.data() + name.size(), &dst, dst + size - 1);
  *dst = 0;
}

}  // namespace zulu16

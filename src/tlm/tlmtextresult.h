// The one rule by which every exported function hands a text to the caller's buffer.
#ifndef TLM_TLMTEXTRESULT_H
#define TLM_TLMTEXTRESULT_H

#include "i18n/zulu16/zulstring.h"

namespace tlmapi {

// Copies text with its terminator into out, which holds size units, and answers the length
// copied. When size isn't greater than the text's length (or out is null), nothing is written and
// the answer is the length plus one: the capacity the caller needs. In that case a non-null
// function names the caller in the level-2 line "<function>: buffer size is smaller than the
// required"; a null one stays silent.
int copyTextResult(const zulstring &text, ZUL_UTF16 *out, int size, const ZUL_UTF16 *function);

}  // namespace tlmapi

#endif  // TLM_TLMTEXTRESULT_H

// Merging the arguments of an error into the text of its message.
#ifndef TRACE_ERR_MERGE_H
#define TRACE_ERR_MERGE_H

#include <cstddef>

#include "zul_base.h"

namespace err {

// Writes message to out (size units) with its arguments put in: vargs holds them separated by
// ";;;;". "&1" to "&9" insert that argument; "&" followed by anything else inserts the next
// argument in sequence and keeps what followed. A missing argument inserts nothing.
void MergeText(const ZUL_UTF16 *message, const ZUL_UTF16 *vargs, ZUL_UTF16 *out, size_t size);

}  // namespace err

#endif  // TRACE_ERR_MERGE_H

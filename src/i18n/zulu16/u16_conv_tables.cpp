// The exported constants of the conversions.
#include "i18n/zulu16/u16_conv_tables.h"

#include "zul_u16conv.h"

const ZUL_UTF16 rscpReplacementCharacter = zulu16::kReplacement;
const uint32_t kMaximumUCS2 = zulu16::kMaxUcs2;
const uint32_t kMaximumUTF16 = zulu16::kMaxUtf16;
const uint32_t kMaximumUCS4 = zulu16::kMaxUcs4;

/* The whole 16-bit text runtime in one include. */
#ifndef ZUL_U16_H
#define ZUL_U16_H

#include "zul_base.h"
#include "zul_nlsui.h"
#include "zul_u16conv.h"
#include "zul_u16printf.h"
#include "zul_u16scanf.h"
#include "zul_u16stdio.h"
#include "zul_u16string.h"
#include "zul_u16sys.h"
#include "zul_u16trace.h"

#endif /* ZUL_U16_H */

// The exported state of the component trace and the process-wide administration.
#include "trace/ctrc_state.h"

CTRC_ADM ctrcadm[CTRC_MAX_COMPS];
int next_free_comp = 1;

int ct_level = 1;
int ct_log_level = 0;
int EntLev = 2;
int ct_time_res = 1;
CTRC_HDL tf = nullptr;
ZUL_UTF16 savloc[32];

CTRC_OUTPUT_FUNC output_func = nullptr;
FILE *output_stream = nullptr;
void *output_info = nullptr;

CTRC_CONTEXTINFO_FUNC contextinfo_hook_func = nullptr;
void *contextinfo_hook_ctx = nullptr;

uint8_t dpTrcHidingActive = 1;

namespace ctrc {

ProcessState state;

}  // namespace ctrc

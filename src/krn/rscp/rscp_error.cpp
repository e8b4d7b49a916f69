// The per-thread error record: recording, accessors, foreign codes and the switches.
#include "krn/rscp/rscp_error.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "zul_u16conv.h"

long rscpe_callcnt = 0;
int h_rscp_some_stderr = 0;
int h_rscp_verbose_stderr = 0;
int h_rscpo_err_pri_style = 1;
int h_ccc_init_nice = 0;
const ZUL_UTF16 *h_ccc_init_func = nullptr;

namespace rscp {

const ZUL_UTF16 *const kReturnCodeTexts[kReturnCodeCount] = {
    u"RSCPEINTERN  Some other internal error             ",
    u"RSCPEIO      Some I/O error.                       ",
    u"RSCPEINVAL   Invalid arguments                     ",
    u"RSCPETOOLONG The data was longer than the buffer.  ",
    u"RSCPECALL    Illegal mixture of procedure calls.   ",
    u"RSCPENOOBJ   No such object                        ",
    u"RSCPEBUSY    Object is busy or locked              ",
    u"RSCPEUNIQ    Selects more than one object          ",
    u"RSCPENOCONV  Wanted conversion not available.      ",
    u"RSCPEBADO    A handle is invalid or corrupted.     ",
    u"RSCPEODATA   There is no more data.                ",
    u"RSCPEROLLBACK  There happened a data base roll back",
};

void rscpuc_strfcpy(ZUL_UTF16 *dst, const ZUL_UTF16 *src, size_t units) noexcept {
  size_t i = 0;
  if (src != nullptr)
    for (; i + 1 < units && src[i] != 0; ++i) dst[i] = src[i];
  dst[i] = 0;
}

void Narrow(char *dst, size_t size, const ZUL_UTF16 *src) noexcept {
  if (size == 0) return;
  size_t i = 0;
  if (src != nullptr)
    for (; i + 1 < size && src[i] != 0; ++i) dst[i] = src[i] < 128 ? static_cast<char>(src[i]) : '#';
  dst[i] = 0;
}

namespace {

// The record behind h_rscp_thr_data_ptr is allocated on the thread's first report and freed by the
// thread-local destructor when the thread ends.
thread_local std::unique_ptr<RSCPE_RECORD> h_rscp_thr_data_ptr;
RSCPE_RECORD fallback_record;  // when no memory is left; shared, unlocked

}  // namespace

RSCPE_RECORD *ThreadRecord() noexcept {
  if (h_rscp_thr_data_ptr == nullptr) {
    auto *record = new (std::nothrow) RSCPE_RECORD();
    if (record == nullptr) return &fallback_record;
    h_rscp_thr_data_ptr.reset(record);
  }
  return h_rscp_thr_data_ptr.get();
}

}  // namespace rscp

using rscp::ThreadRecord;

namespace {

constexpr ZUL_UTF16 kEmpty[] = u"";

const RSCPE_LEVEL *LastLevel(const RSCPE_RECORD *record) {
  if (record == nullptr || record->depth <= 0) return nullptr;
  int depth = record->depth > RSCPE_MAX_LEVELS ? RSCPE_MAX_LEVELS : record->depth;
  return &record->level[depth - 1];
}

// The level a foreign code attaches to: the last one, or a fresh level 0.
RSCPE_LEVEL *ForeignLevel() {
  RSCPE_RECORD *record = ThreadRecord();
  if (record->depth <= 0) {
    record->depth = 1;
    record->level[0] = RSCPE_LEVEL{};
    record->level[0].key = -1;
  }
  return &record->level[record->depth - 1];
}

int SetForeign(int kind, int code) {
  RSCPE_LEVEL *level = ForeignLevel();
  level->foreign = static_cast<char>(kind);
  level->foreign_code = code;
  return code;
}

int Clamp(int n, int low, int high) { return n < low ? low : n > high ? high : n; }

int err_trace = 0, trace = 0, stack_trace = 0, rstr_to_stderr = 0;
int pri_w_no = 8, pri_w_me = 53;
char trace_file[256];

}  // namespace

int rscpe__error(int code, int err_class, int key, const ZUL_UTF16 *module, int location,
                 int line, const ZUL_UTF16 *text, const ZUL_UTF16 *p1, const ZUL_UTF16 *p2,
                 const ZUL_UTF16 *p3, const ZUL_UTF16 *p4, const ZUL_UTF16 *p5) noexcept {
  int saved_errno = errno;
  // A relaxed atomic add: the counter stays a plain exported long, but threads don't lose counts.
  long callcnt = __atomic_add_fetch(&rscpe_callcnt, 1, __ATOMIC_RELAXED);
  RSCPE_RECORD *record = ThreadRecord();
  int slot = 0;
  if (record->append != 0) {
    record->append = 0;
    slot = record->depth < RSCPE_MAX_LEVELS ? record->depth : RSCPE_MAX_LEVELS - 1;
    record->depth = static_cast<short>(slot + 1);
  } else {
    record->depth = 1;
  }
  if (record->saved_errno == 0) record->saved_errno = saved_errno;

  RSCPE_LEVEL &level = record->level[slot];
  level = RSCPE_LEVEL{};
  if (h_ccc_init_nice != 0 && h_ccc_init_func != nullptr) {
    module = h_ccc_init_func;
    level.init_call = 1;
  }
  level.err_class = static_cast<char>(err_class);
  level.internal = err_class == 'I' ? 1 : 0;
  level.key = key;
  rscp::rscpuc_strfcpy(level.module, module, RSCPE_MODULE_UNITS + 1);
  level.location = location;
  level.line = line;
  level.code = code;
  level.callcnt = callcnt;
  const ZUL_UTF16 *params[RSCPE_PARAMS] = {p1, p2, p3, p4, p5};
  for (int i = 0; i < RSCPE_PARAMS; ++i)
    rscp::rscpuc_strfcpy(level.params[i], params[i], RSCPE_PARAM_UNITS);
  rscp::rscpuc_strfcpy(level.text, text, RSCPE_TEXT_UNITS);

  if (h_rscp_verbose_stderr != 0)
    rscpep4_err_print4(record, nullptr);
  else if (h_rscp_some_stderr != 0)
    rscpep4s_err_print4_short(record, nullptr);
  errno = saved_errno;
  return code;
}

void rscpeas__append_source(void) noexcept { ThreadRecord()->append = 1; }

RSCPE_RECORD *rscple_last_error(void) noexcept { return ThreadRecord(); }

void rscproe__remember_old_error(const RSCPE_RECORD *record) noexcept {
  RSCPE_RECORD *own = ThreadRecord();
  if (record != nullptr && record != own) std::memcpy(own, record, sizeof *own);
}

void rscpce_clear_error(void) noexcept { *ThreadRecord() = RSCPE_RECORD{}; }

void rscpcei_clear_error_info(void) noexcept {
  RSCPE_RECORD *record = ThreadRecord();
  short append = record->append;
  *record = RSCPE_RECORD{};
  record->append = append;
}

int rscpeFinalErrorCode(const RSCPE_RECORD *record) noexcept {
  if (record == nullptr) return 16;
  const RSCPE_LEVEL *level = LastLevel(record);
  return level != nullptr ? level->code : 0;
}

int rscpeStartingErrorCode(const RSCPE_RECORD *record) noexcept {
  if (record == nullptr) return 16;
  return record->depth > 0 ? record->level[0].code : 0;
}

int rscpeFinalSqlCode(const RSCPE_RECORD *record) noexcept {
  const RSCPE_LEVEL *level = LastLevel(record);
  return level != nullptr && level->foreign == RSCPE_FROM_SQL ? level->foreign_code : 0;
}

const ZUL_UTF16 *rscpeFinalErrorProc(const RSCPE_RECORD *record) noexcept {
  const RSCPE_LEVEL *level = LastLevel(record);
  return level != nullptr ? level->module : kEmpty;
}

const ZUL_UTF16 *rscpeFinalErrorParams(const RSCPE_RECORD *record, int n) noexcept {
  const RSCPE_LEVEL *level = LastLevel(record);
  return level != nullptr && n >= 1 && n <= RSCPE_PARAMS ? level->params[n - 1] : kEmpty;
}

const ZUL_UTF16 *rscpeFinalErrorText(const RSCPE_RECORD *record) noexcept {
  const RSCPE_LEVEL *level = LastLevel(record);
  return level != nullptr ? level->text : kEmpty;
}

const char *rscpeFinalErrorTextU8(const RSCPE_RECORD *record) noexcept {
  return reinterpret_cast<const char *>(UcsToUtf8sVola(rscpeFinalErrorText(record)));
}

const ZUL_UTF16 *rscpeFinalSqlMsg(const RSCPE_RECORD *record) noexcept {
  const RSCPE_LEVEL *level = LastLevel(record);
  return level != nullptr ? level->sql_msg : kEmpty;
}

int rscpefn__err_from_ntab(int code) noexcept { return SetForeign(RSCPE_FROM_NTAB, code); }
int rscpefs__err_from_rsql(int code) noexcept { return SetForeign(RSCPE_FROM_RSQL, code); }
int rscpeft__err_from_rtab(int code) noexcept { return SetForeign(RSCPE_FROM_RTAB, code); }

int rscpefq__err_from_sql(int code, const ZUL_UTF16 *msg) noexcept {
  SetForeign(RSCPE_FROM_SQL, code);
  rscp::rscpuc_strfcpy(ForeignLevel()->sql_msg, msg, RSCPE_SQLMSG_UNITS);
  return code;
}

int rscpeff__err_from_filesystem(int code) noexcept {
  SetForeign(RSCPE_FROM_FILESYSTEM, code);
  RSCPE_RECORD *record = ThreadRecord();
  if (record->saved_errno == 0) record->saved_errno = code;
  return code;
}

int rscpsv__set_verbose(int n) noexcept {
  int old = h_rscp_verbose_stderr != 0 ? 2 : h_rscp_some_stderr != 0 ? 1 : 0;
  h_rscp_some_stderr = n >= 1 ? 1 : 0;
  h_rscp_verbose_stderr = n > 1 ? 1 : 0;
  return old;
}

int rscpsv__set_err_trace(int n) noexcept { return std::exchange(err_trace, n); }
int rscpst_set_trace(int n) noexcept { return std::exchange(trace, n); }
int rscpgt_get_trace(void) noexcept { return trace; }
int rscpsst_set_stack_trace(int n) noexcept { return std::exchange(stack_trace, n); }
int rscpsrts_rstr_to_stderr(int n) noexcept { return std::exchange(rstr_to_stderr, n); }
int rscpgrts_rstr_to_stderr(void) noexcept { return rstr_to_stderr; }

const char *rscpstf_set_trace_file(const char *name) noexcept {
  if (name == nullptr) name = "";
  std::strncpy(trace_file, name, sizeof trace_file - 1);
  trace_file[sizeof trace_file - 1] = 0;
  return trace_file;
}
const char *rscpgtf_get_trace_file(void) noexcept { return trace_file; }

int rscpsps__set_pri_style(int n) noexcept {
  return std::exchange(h_rscpo_err_pri_style, n == 2 ? 2 : 1);
}
int rscpgps__get_pri_style(void) noexcept { return h_rscpo_err_pri_style; }
int rscpspwn__set_pri_w_no(int n) noexcept { return std::exchange(pri_w_no, Clamp(n, 0, 40)); }
int rscpgpwn__get_pri_w_no(void) noexcept { return pri_w_no; }
int rscpspwm__set_pri_w_me(int n) noexcept { return std::exchange(pri_w_me, Clamp(n, 0, 53)); }
int rscpgpwm__get_pri_w_me(void) noexcept { return pri_w_me; }

void rscpr2s__returncode_to_string(long code, const ZUL_UTF16 **text_out,
                                   int *length_out) noexcept {
  static ZUL_UTF16 number[20];
  const ZUL_UTF16 *text;
  if (code >= 1 && code <= rscp::kReturnCodeCount) {
    text = rscp::kReturnCodeTexts[code - 1];
  } else {
    char narrow[20];
    std::snprintf(narrow, sizeof narrow, "%5ld", code);
    A7sToUcs(number, narrow);
    text = number;
  }
  if (text_out != nullptr) *text_out = text;
  if (length_out != nullptr) {
    int n = 0;
    while (text[n] != 0) ++n;
    *length_out = n;
  }
}

// Process state of the component trace and the helpers that the writers share. Everything here is
// guarded by the trace mutex (DpLock) unless its comment says otherwise.
#ifndef TRACE_CTRC_STATE_H
#define TRACE_CTRC_STATE_H

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "thr/thr_sigblock.h"
#include "zul_ctrc.h"

namespace ctrc {

// The process-wide part of the administration.
struct ProcessState {
  FILE *global_file = nullptr;
  bool last_comp_registered = false;
  bool thread_trace_active = false;
  // Process-wide copies of the time fields of CTRC_THR_ADM, used by threads without one of their
  // own (or whose field is -1).
  int64_t last_sec = 0;
  int64_t last_fine_sec = 0;
  int64_t last_fine_usec = 0;
  int64_t last_size_check = 0;
};
extern ProcessState state;

// Holds DpLock for a scope.
class Lock {
 public:
  Lock();
  ~Lock();
  Lock(const Lock &) = delete;
  Lock &operator=(const Lock &) = delete;
};

// Where a handle writes: the stream, and the component entry for a live handle (else null).
struct Target {
  FILE *stream;
  CTRC_ADM *comp;
  // A component in the sense of the line forms: a live handle with a letter.
  bool HasLetter() const { return comp != nullptr && comp->letter != 0; }
  // A component at level 0 suppresses even errors and stamps.
  bool Silenced() const { return comp != nullptr && comp->level < 1; }
};

bool IsHandle(CTRC_HDL hdl);
// Resolves hdl. A value inside ctrcadm beyond the free index is reported as a stale handle and
// answered as standard error.
Target Resolve(CTRC_HDL hdl);
// The stream of a live handle or of the global file: the calling thread's file, else the global
// one, else standard error.
FILE *ProcessStream();
// The calling thread's administration, or null; Create makes one (time fields -1, so that the
// process-wide copies apply) when the thread has none. Create answers null when memory runs out.
CTRC_THR_ADM *ThreadAdm();
CTRC_THR_ADM *CreateThreadAdm();
// Frees the calling thread's administration.
void DropThreadAdm();
// The calling thread's administration if hdl is a live handle and the thread has a file of its
// own; otherwise null, after tracing "wrong handle" or "illegal handle".
CTRC_THR_ADM *ThreadFileAdm(CTRC_HDL hdl);

// The level a component's hook receives: the lower of its own and ct_level.
int EffectiveLevel(const CTRC_ADM &entry);
void CallHook(const CTRC_ADM &entry);
// Calls the hook of every component; at ct_level above 1 each call is announced in the trace.
void CallAllHooks();

// Opens a trace file as CTrcInit and CTrcThrOpen do and writes the header block showing level. It
// takes the lock only around its bookkeeping and the header, so that CTrcThrOpen can open its file
// while other threads trace.
FILE *OpenTraceFile(const ZUL_UTF16 *filename, int mode, int level);

}  // namespace ctrc

namespace dptrace {

constexpr size_t kLineUnits = 8192;  // one more than the longest line
constexpr char16_t kErrorText[] = u"*** ERROR => ";
constexpr char16_t kWarningText[] = u"*** WARNING => ";

// Writes units of text to stream, or to output_func while one is set. Answers the output call's
// result. A write to a stream fails with EFBIG or EPIPE rather than raise SIGXFSZ or SIGPIPE in
// the host (thr_sigblock.h); so does the flush.
int Emit(FILE *stream, const char16_t *text, size_t units);
// Flushes stream unless output_func is set.
void Flush(FILE *stream);
// Blocks SIGXFSZ and SIGPIPE for a scope in which the trace writes to a stream, so that all the
// writes of one line and its flush share one block instead of each making its own. Does nothing
// while output_func is set: that function is the host's, and so are its signals.
class StreamSignalBlock {
 public:
  StreamSignalBlock();
  StreamSignalBlock(const StreamSignalBlock &) = delete;
  StreamSignalBlock &operator=(const StreamSignalBlock &) = delete;
  // Ends the block before the scope does, so that a call into the host runs with its own mask.
  void End() { block_.reset(); }

 private:
  std::optional<thr::ScopedSignalBlock> block_;
};
// True for a stream the trace must not close or truncate: standard error, or any while
// output_func is set.
bool IsUnownedStream(FILE *stream);
// Formats into the message buffer and emits the result at once: the direct prints (reports,
// notices) that bypass the line writers and their watches. Answers the output call's result.
int Print(FILE *stream, const char16_t *format, ...);
int PrintVar(FILE *stream, const char16_t *format, va_list args);

// The "[Thr <id>] " prefix of the calling thread; answers its units.
size_t ThreadPrefix(char16_t *out);

// Restores errno at the end of a scope: no writer changes it for its caller.
class ErrnoKeeper {
 public:
  ErrnoKeeper();
  ~ErrnoKeeper();
  ErrnoKeeper(const ErrnoKeeper &) = delete;
  ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

 private:
  int saved_;
};

// The letter, two blanks and the indent (two blanks per step, at most 31 units) of a component;
// answers the units written (at most 34).
size_t ComponentPrefix(const CTRC_ADM &comp, char16_t *out);
// " [<module, 12 units> <line, at most 5 units>]\n" from savloc; answers its units (at most 22).
size_t LocationSuffix(char16_t *out);
// True when thread trace is active and the calling thread's own level is below level.
bool ThreadFiltered(int level);

// The text of an errno value: fills out (256 units) and answers 0, or answers 1 for a text longer
// than 255 bytes and 2 for a value without text (out then holds "error text too long" or
// "illegal errno").
int ErrnoText(int value, char16_t *out);

// The library's own notes: a plain line, or an error line located in this module, both to tf at
// level 1. The caller holds DpLock.
void TraceNote(const char16_t *format, ...);
void TraceError(int line, const char16_t *text);

// Writer flags.
constexpr int kFlagStamp = 1;
constexpr int kFlagThread = 2;
constexpr int kFlagWarning = 4;
constexpr int kEncodingA7 = 1;
constexpr int kEncodingU16 = 2;

// The writers; the caller holds DpLock. format is 8-bit for kEncodingA7, 16-bit otherwise.
int TraceWriter(CTRC_HDL hdl, int encoding, int flags, const void *format, va_list args);
int ErrorWriter(CTRC_HDL hdl, int encoding, int flags, const void *format, va_list args);
int SysErrorWriter(CTRC_HDL hdl, int encoding, int flags, const void *format, va_list args);
// Time stamp line when one is due.
int StampLine(const ctrc::Target &target, bool thread_prefix);

// The watches, run after a line was written; the caller holds DpLock.
void MatchPatterns(CTRC_HDL hdl, FILE *stream, const char16_t *text, size_t units);
void CheckFileSize(CTRC_HDL hdl, FILE *stream);

// Line state between writes; reset by the tests' capture.
struct LineState {
  bool at_line_start = true;
  char16_t last_comp = 0;
};
extern LineState line_state;

}  // namespace dptrace

#endif  // TRACE_CTRC_STATE_H

// The trace files: the process' global file, the threads' own files, closing, truncating and the
// redirection of all output to a function.
#include <sys/stat.h>
#include <unistd.h>

#include "trace/ctrc_state.h"
#include "zul_dptrace.h"
#include "zul_u16string.h"
#include "zul_u16sys.h"

namespace ctrc {

namespace {

// The release text of the header block.
constexpr char16_t kRelease[] = u"720";

const char16_t *BaseName(const ZUL_UTF16 *path) {
  const char16_t *base = path;
  for (const char16_t *p = path; *p != 0; ++p)
    if (*p == u'/' || *p == u'\\') base = p + 1;
  return base;
}

// Opens filename with the permissions rw-r--r--; a failure is reported and falls back to standard
// error.
FILE *OpenStream(const ZUL_UTF16 *filename, int mode) {
  mode_t old_mask = umask(0133);
  FILE *stream = fopenU16(filename, mode == 1 ? u"w" : u"a");
  umask(old_mask);
  if (stream != nullptr) return stream;
  Lock lock;
  dptrace::Print(stderr, u"*** ERROR => CTrcOpen: fopen %s\n", filename);
  return stderr;
}

// Closing writes what the stream still buffers; at the file size limit that fails with EFBIG
// rather than end the host (thr_sigblock.h).
int CloseStream(FILE *stream) {
  thr::ScopedSignalBlock host_signals;
  return fclose(stream);
}

void ClearProcessTimeFields() {
  state.last_sec = state.last_fine_sec = state.last_fine_usec = state.last_size_check = 0;
}

void WriteHeader(FILE *stream, const ZUL_UTF16 *filename, int level) {
  dptrace::Print(stream,
                 u"\n---------------------------------------------------\n"
                 u"trc file: \"%s\", trc level: %d, release: \"%s\"\n"
                 u"---------------------------------------------------\n",
                 BaseName(filename), level, kRelease);
  dptrace::Flush(stream);
}

}  // namespace

FILE *OpenTraceFile(const ZUL_UTF16 *filename, int mode, int level) {
  {
    Lock lock;
    ClearProcessTimeFields();
    if (output_func != nullptr) {
      if (filename != nullptr && ct_level >= 2) WriteHeader(output_stream, filename, level);
      return output_stream;
    }
  }
  if (filename == nullptr) return stderr;
  FILE *stream = OpenStream(filename, mode);
  Lock lock;
  WriteHeader(stream, filename, level);
  return stream;
}

}  // namespace ctrc

using ctrc::Lock;
using ctrc::state;

FILE *CTrcInit(const ZUL_UTF16 *filename, int mode, int level) noexcept {
  Lock lock;
  bool first = state.global_file == nullptr;
  if (first) ct_level = level;
  FILE *stream = ctrc::OpenTraceFile(filename, mode, level);
  if (first) state.global_file = stream;
  return stream;
}

FILE *CTrcSetFp(FILE *stream, int level) noexcept {
  Lock lock;
  ct_level = level;
  if (state.global_file == nullptr) state.global_file = stream;
  return stream;
}

void CTrcSetFpTf(CTRC_HDL hdl) noexcept { tf = hdl; }

CTRC_HDL CTrcGetFpTf(void) noexcept { return tf; }

FILE *CTrcFp(CTRC_HDL hdl) noexcept {
  Lock lock;
  return ctrc::Resolve(hdl).stream;
}

CTRC_HDL CTrcThrOpen(const ZUL_UTF16 *filename, int mode, int level) noexcept {
  int index;
  {
    Lock lock;
    if (next_free_comp >= CTRC_MAX_COMPS) {
      dptrace::Print(stderr, u"*** ERROR => CTrcNewComp: too many comps\n");
      return nullptr;
    }
    // The entry is reserved before the file is opened without the lock.
    index = next_free_comp++;
    ctrcadm[index] = CTRC_ADM{0, level, 0, nullptr, nullptr};
  }
  FILE *stream = ctrc::OpenTraceFile(filename, mode, level);
  Lock lock;
  CTRC_THR_ADM *adm = ctrc::CreateThreadAdm();
  if (adm == nullptr) {
    if (!dptrace::IsUnownedStream(stream)) ctrc::CloseStream(stream);
    return nullptr;
  }
  *adm = CTRC_THR_ADM{stream, CTRC_THR_LEVEL_UNSET, 0, 0, 0, 0};
  ctrcadm[index].thr = adm;
  return &ctrcadm[index];
}

int CTrcThrClose(CTRC_HDL hdl) noexcept {
  Lock lock;
  CTRC_THR_ADM *adm = ctrc::ThreadFileAdm(hdl);
  if (adm == nullptr) return -1;
  if (!dptrace::IsUnownedStream(adm->fp)) ctrc::CloseStream(adm->fp);
  adm->fp = nullptr;
  adm->last_sec = adm->last_fine_sec = adm->last_fine_usec = adm->last_size_check = -1;
  return 0;
}

int CTrcFileClose(CTRC_HDL hdl) noexcept {
  Lock lock;
  bool handle = ctrc::IsHandle(hdl);
  FILE *stream = ctrc::Resolve(hdl).stream;
  if (stream == state.global_file) {
    state.global_file = nullptr;
    next_free_comp = 1;
    state.last_comp_registered = false;
  }
  CTRC_THR_ADM *adm = ctrc::ThreadAdm();
  if (handle)
    ctrc::DropThreadAdm();
  else if (adm != nullptr && adm->fp == stream)
    adm->fp = nullptr;
  if (dptrace::IsUnownedStream(stream)) return 0;
  return ctrc::CloseStream(stream);
}

int CTrcFileTrunc(CTRC_HDL hdl) noexcept {
  Lock lock;
  FILE *stream = ctrc::Resolve(hdl).stream;
  if (dptrace::IsUnownedStream(stream)) return 0;
  if (fseek(stream, 0, SEEK_SET) != 0) return -1;
  return ftruncate64(fileno(stream), 0) == 0 ? 0 : -1;
}

void CTrcSetOutputMethod(CTRC_OUTPUT_FUNC func, void *info) noexcept {
  Lock lock;
  output_func = func;
  output_info = info;
  output_stream = stderr;
}

CTRC_OUTPUT_FUNC CTrcGetOutputFunc(void) noexcept {
  Lock lock;
  return output_func;
}

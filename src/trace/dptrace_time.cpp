// Time stamp lines: one line with the local time whenever the second, or the step that
// ct_time_res selects, has changed since the last stamp.
#include <sys/time.h>

#include <cstring>
#include <ctime>

#include "trace/ctrc_state.h"
#include "zul_contloct.h"
#include "zul_dptrace.h"
#include "zul_u16printf.h"
#include "zul_u16sys.h"

namespace dptrace {

namespace {

// localtime_cont may trace itself; a stamp requested from inside it writes nothing.
bool in_localtime = false;

// The thread's copy of a time field unless it is -1, else the process-wide copy.
int64_t &Field(CTRC_THR_ADM *adm, int64_t CTRC_THR_ADM::*field, int64_t &process_copy) {
  if (adm != nullptr && adm->*field != -1) return adm->*field;
  return process_copy;
}

struct Now {
  time_t sec;
  long usec;
};

// Reads the clock and answers whether a stamp is due, updating the last stamp when it is.
bool StampDue(int resolution, Now *now) {
  CTRC_THR_ADM *adm = ctrc::ThreadAdm();
  ctrc::ProcessState &process = ctrc::state;
  if (resolution == 1) {
    now->sec = time(nullptr);
    now->usec = 0;
    int64_t &last = Field(adm, &CTRC_THR_ADM::last_sec, process.last_sec);
    if (now->sec == last) return false;
    last = now->sec;
    return true;
  }
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  now->sec = tv.tv_sec;
  now->usec = tv.tv_usec;
  long granule = 1000000 / resolution;
  int64_t &last_sec = Field(adm, &CTRC_THR_ADM::last_fine_sec, process.last_fine_sec);
  int64_t &last_usec = Field(adm, &CTRC_THR_ADM::last_fine_usec, process.last_fine_usec);
  if (now->sec == last_sec && now->usec - last_usec < granule) return false;
  last_sec = now->sec;
  last_usec = now->usec;
  return true;
}

// "Mon Jan  5 12:34:56:789 2026\n" or, at second resolution, "Mon Jan  5 12:34:56 2026\n".
// Answers the units, or 0 when the time can't be formatted.
size_t StampText(int resolution, const Now &now, const struct tm &tm, char16_t *out, size_t room) {
  int n;
  if (resolution > 1) {
    char16_t head[64];
    if (strftimeU16(head, 64, u"%a %b %e %H:%M:%S", &tm) == 0) return 0;
    if (tm.tm_mday < 10) head[8] = u' ';
    n = snprintfU16(out, room, u"%.24s:%03ld %4.4d\n", head, now.usec / 1000, tm.tm_year + 1900);
  } else {
    char16_t text[32];
    if (ThrAsctime(&tm, text) != nullptr)
      n = snprintfU16(out, room, u"%.24s\n", text);
    else
      n = snprintfU16(out, room, u"ERROR IN THRASCTIME\n");
  }
  return n > 0 ? static_cast<size_t>(n) : 0;
}

}  // namespace

int StampLine(const ctrc::Target &target, bool thread_prefix) {
  if (target.Silenced()) return 0;
  ErrnoKeeper keep_errno;
  int resolution = ct_time_res;
  if (resolution < 1) return 0;
  Now now;
  if (!StampDue(resolution, &now)) return 0;
  if (in_localtime) return 0;
  struct tm tm;
  in_localtime = true;
  bool converted = localtime_cont_r(&now.sec, &tm) != nullptr;
  in_localtime = false;
  if (!converted) return 0;

  char16_t line[160];
  size_t used = 0;
  bool letter = target.HasLetter();
  if (ct_level == 1) {
    if (letter) {
      const char16_t head[] = {target.comp->letter, u' ', u' ', u'\n', target.comp->letter, u' '};
      std::memcpy(line, head, sizeof head);
      used = 6;
    } else {
      line[used++] = u'\n';
    }
  } else if (letter) {
    line[used++] = target.comp->letter;
    line[used++] = u' ';
  }
  if (thread_prefix) used += ThreadPrefix(line + used);
  size_t stamp = StampText(resolution, now, tm, line + used, sizeof line / sizeof line[0] - used);
  if (stamp == 0) return 0;
  int rc = Emit(target.stream, line, used + stamp);
  Flush(target.stream);
  return rc;
}

}  // namespace dptrace

int DpTrcTime(CTRC_HDL hdl) noexcept { return dptrace::StampLine(ctrc::Resolve(hdl), true); }

int DpTrcTimeNoThr(CTRC_HDL hdl) noexcept { return dptrace::StampLine(ctrc::Resolve(hdl), false); }

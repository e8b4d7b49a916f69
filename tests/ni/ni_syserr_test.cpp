// Socket failures as NI codes and messages, and the two masks that make them errors, record
// them and trace them.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>

#include "ni/nixxi.h"
#include "trace_capture.h"
#include "zul_err.h"

namespace {

const NI_NODEADDR kPeer = {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 10, 1, 2, 3}};
const uint16_t kPort = NiNetServno(3200);

TEST(NiISystemError, MapsCodesByCallAndFamily) {
  struct Row {
    int siRc, siFunc, family, rc;
    const char16_t *text, *syscall;
  } rows[] = {
      {SI_EINVAL, 28, 0, NIEINVAL, u"" NI_EINVAL_STR, u"shutdown"},
      {SI_EINVAL_FAMI, 3, 0, NIEINTERN, u"internal error", u"socket"},
      {SI_ECONN_REFUSE, 8, AF_INET, NIEMYHOST_VERIFY, u"verify own hostname '10.1.2.3' failed",
       u"bind"},
      {SI_EADDR_NAVAIL, 9, AF_UNIX, NIESERV_USED, u"service '3200' in use", u"bind"},
      {SI_ECONN_REFUSE, 13, AF_INET, NIECONN_REFUSED, u"partner '10.1.2.3:3200' not reached",
       u"connect"},
      {SI_EPORT_INUSE, 8, AF_INET, NIESERV_USED, u"service '3200' in use", u"bind"},
      {SI_ECONN_BROKEN, 15, AF_INET, NIECONN_BROKEN,
       u"connection to partner '10.1.2.3:3200' broken", u"send"},
      {SI_ETIMEOUT, 44, AF_INET, NIECONN_REFUSED, u"partner '10.1.2.3:3200' not reached",
       u"poll, getsockopt"},
      {SI_ETIMEOUT, 21, AF_INET, NIETIMEOUT, u"timeout occured", u"recv"},
      {SI_EMFILE, 11, AF_INET, NIEINVAL, u"" NI_EINVAL_STR, u"accept"},
      {SI_ESYSCALL, 42, 0, NIEINTERN, u"internal error", u"poll"},
      {99, 3, 0, NIEINTERN, u"internal error", u"socket"},
  };
  for (const Row &r : rows) {
    SI_SOCK sock{-1, r.family, SOCK_STREAM, 0};
    ErrClear();
    EXPECT_EQ(NiISystemError(r.siRc, r.siFunc, nullptr, r.family != 0 ? &sock : nullptr, 111,
                             nullptr, &kPeer, &kPort, "Test", u"nixxi.cpp", 7, 1),
              r.rc)
        << r.siRc << "/" << r.siFunc;
    EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_TEXT)), r.text) << r.siRc << "/" << r.siFunc;
    EXPECT_EQ(std::u16string(ErrGetFld(ERR_FLD_SYSCALL)), r.syscall) << r.siRc;
  }
}

TEST(NiISystemError, MasksDecideWhatIsRecordedAndTraced) {
  constexpr uint64_t kAlways = 1ull << 61, kRefused = 1ull << 39, kRefusedSi = 1ull << 8;
  struct Row {
    uint64_t niOff, siOff;
    bool info, errorLine, anyLine;
  } rows[] = {
      {0, 0, true, true, true},                     // defaults: an error, recorded and traced
      {kAlways, 0, true, true, true},               // still an error at trace level 1
      {kAlways | kRefused, 0, false, false, true},  // not an error: a plain level 1 line
      {kAlways, kRefusedSi, false, false, false},   // the code's bit silences it
      {kRefused, kRefusedSi, true, false, false},   // bit 61 records it all the same
  };
  for (const Row &r : rows) {
    NiDisableTrace(r.niOff);
    NiDisableSiTrace(r.siOff);
    tlm_test::TraceCapture trace(1);
    ErrClear();
    NiISystemError(SI_ECONN_REFUSE, 14, nullptr, nullptr, 111, "extra", &kPeer, &kPort, "Test",
                   u"nixxi.cpp", 7, 1);
    std::u16string text = trace.Text();
    EXPECT_EQ(ErrIsAInfo() != 0, r.info) << r.niOff << " " << r.siOff;
    EXPECT_EQ(text.find(u"*** ERROR =>") != std::u16string::npos, r.errorLine) << r.niOff;
    EXPECT_EQ(text.find(u"NiPConnect2: connect failed (") != std::u16string::npos, r.anyLine)
        << tlm_test::Utf8(text);
    NiEnableTrace(r.niOff);
    NiEnableSiTrace(r.siOff);
  }
  NiSetSiTrace(0x12);
  EXPECT_EQ(NiGetSiTrace(), 0x12u);
  NiSetSiTrace(0xFFFF);
  EXPECT_EQ(ni::gNiTraceMask.load(), 0x3004018000100001u);
}

}  // namespace

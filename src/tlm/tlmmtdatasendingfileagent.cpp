#define DPTRC_MODULE u"tlmmtdatasendingfileagent"

#include "tlm/tlmmtdatasendingfileagent.h"

#include "thr/thr_sigblock.h"
#include "tlm/tlmfilename.h"
#include "tlm/tlmprofile/tlmparameterhelper.h"
#include "zul_dptrace.h"
#include "zul_u16conv.h"

namespace {

constexpr const ZUL_UTF16 *kLogFileSuffix = u"_mtdata.log";

}  // namespace

zulstring CMTDataSendingFileAgent::GetLogFileName() const {
  return TLMParameterHelper::GetLogDir() + u"/" + tlmfile::componentFilePart(componentName_) +
         kLogFileSuffix;
}

zulstring CMTDataSendingFileAgent::GetFallbackFileName() const {
  return componentName_ + kLogFileSuffix;
}

std::string CMTDataSendingFileAgent::GetUtf8(const zulstring &text) {
  // Three bytes per unit is the most UTF-8 takes: a pair of units makes four bytes, and a unit
  // replaced by U+FFFD three.
  std::string bytes(text.size() * 3, '\0');
  const ZUL_UTF16 *src = text.data();
  ZUL_RAW *begin = reinterpret_cast<ZUL_RAW *>(bytes.data());
  ZUL_RAW *dst = begin;
  Utf16nToUtf8nSubstAll(&src, text.data() + text.size(), &dst, begin + bytes.size());
  bytes.resize(static_cast<size_t>(dst - begin));
  return bytes;
}

void CMTDataSendingFileAgent::sendData(zulstring text) noexcept {
  try {
    const std::string bytes = GetUtf8(text);
    if (!stream_) createStream();
    zulstring name = GetLogFileName();
    if (!openForAppend(name)) {
      DPTRC(1, tf,
            u"Switch to current working directory due to metric data log file %s could not be "
            u"opened!\n",
            name.c_str());
      name = GetFallbackFileName();
      if (!openForAppend(name)) {
        stream_->clear();
        DPTRC_ERR(tf,
                  u"NO candidated metric data log file could be created(even in the current "
                  u"working directory)!\n");
        return;
      }
    }
    // A full disk or a file size limit: this text is lost, and the next one tries again.
    if (!writeAndClose(bytes)) {
      DPTRC_ERR(tf, u"Metric data could not be written to log file %s\n", name.c_str());
    }
  } catch (...) {
    // Out of memory: the text is lost. The file must not stay open into the next text.
    if (stream_ && stream_->is_open()) stream_->close();
    if (stream_) stream_->clear();
    DPTRC_ERR(tf, u"Metric data log file text lost after an exception\n");
  }
}

void CMTDataSendingFileAgent::createStream() {
  stream_ = std::make_unique<std::ofstream>();
  // Unbuffered, so that each text goes to the system in one write, which append mode keeps whole
  // next to the other agent's texts.
  stream_->rdbuf()->pubsetbuf(nullptr, 0);
}

bool CMTDataSendingFileAgent::openForAppend(const zulstring &name) {
  stream_->clear();
  zulu16::FileNameBytes bytes(name);
  stream_->open(bytes.c_str(), std::ios::out | std::ios::app);
  return stream_->is_open();
}

bool CMTDataSendingFileAgent::writeAndClose(const std::string &bytes) {
  // At the file size limit the write fails with EFBIG instead of ending the host with SIGXFSZ.
  thr::ScopedSignalBlock hostSignals;
  stream_->write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  stream_->flush();
  const bool written = !stream_->fail();
  stream_->clear();
  stream_->close();
  return written;
}

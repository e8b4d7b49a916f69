// The sink that appends every text to the metric log file.
#ifndef TLM_TLMMTDATASENDINGFILEAGENT_H
#define TLM_TLMMTDATASENDINGFILEAGENT_H

#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "tlm/tlmmtdatasendingagent.h"

// Appends each text, as UTF-8, to <logdir>/<component>_mtdata.log, where every "|" of the
// component name becomes "_". The file is opened and closed for each text, so every text tries the
// configured directory again. When that file can't be opened, the text goes to
// <component>_mtdata.log in the working directory (the component name as it stands); when that
// fails too, the text is lost. Failures are traced, never thrown.
//
// Takes no lock: each agent is used by one sending thread at a time. The metric and the trace
// agents write the same file, and the system's append mode keeps their texts whole: each text
// reaches the file in one write.
class CMTDataSendingFileAgent : public CMTDataSendingAgent {
 public:
  // componentName names the files.
  explicit CMTDataSendingFileAgent(zulstring componentName)
      : componentName_(std::move(componentName)) {}
  ~CMTDataSendingFileAgent() override = default;
  CMTDataSendingFileAgent(const CMTDataSendingFileAgent &) = delete;
  CMTDataSendingFileAgent &operator=(const CMTDataSendingFileAgent &) = delete;

  // Always true: there is nothing to connect.
  bool checkStatus() override { return true; }
  void sendData(zulstring text) noexcept override;
  // Always empty: a file has no other side.
  zulstring recvData() override { return zulstring(); }

  // <logdir>/<component with "|" as "_">_mtdata.log, where the texts go.
  zulstring GetLogFileName() const;
  // <component>_mtdata.log, relative to the working directory: where they go when the log file
  // can't be opened.
  zulstring GetFallbackFileName() const;
  // The UTF-8 form of a text; an invalid sequence (half a surrogate pair) becomes U+FFFD.
  static std::string GetUtf8(const zulstring &text);

 private:
  // Creates the stream, unbuffered.
  void createStream();
  // Opens name for appending, with the stream's state cleared first; true if it is open.
  bool openForAppend(const zulstring &name);
  // Writes bytes to the open stream and closes it; false if the bytes didn't all reach the file.
  bool writeAndClose(const std::string &bytes);

  zulstring componentName_;
  // Created at the first sendData; closed between texts.
  std::unique_ptr<std::ofstream> stream_;
};

#endif  // TLM_TLMMTDATASENDINGFILEAGENT_H

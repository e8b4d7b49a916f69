// The reports of the configured values.
#include "thr/thr_sigblock.h"
#include "tlm/tlmprofile/tlmparameterloader.h"
#include "zul_u16stdio.h"

namespace tlmprofile {

zulstring CParameterLoader::getActiveParamList() const {
  std::lock_guard<std::mutex> lock(mapMutex_);
  zulstring report;
  if (path_ == kDefaultConfigPath) {
    report += u"TLM configuration loaded from default " + path_ + u" or working directory\n";
  } else if (path_.empty()) {
    report += u"TLM configuration path not set, default used\n";
  } else {
    report += u"TLM configuration loaded from file " + path_ + u"\n";
  }
  report += u"Current TLM Configuration:\n";
  for (const auto &[name, parameter] : parameters_) {
    report += name + u"=" + parameter.getParamValue() + u";";
    if (!isValidParameter(name)) report += u"<-- This parameter is not valid!";
    report += u"\n";
  }
  return report;
}

void CParameterLoader::printActiveParamList() const {
  std::lock_guard<std::mutex> lock(mapMutex_);
  // Standard output may be a pipe whose reader has gone: the listing is lost, not the host.
  thr::ScopedSignalBlock hostSignals;
  for (const auto &[name, parameter] : parameters_) {
    zulstring line =
        u"Parameter Name: " + name + u" |Parameter Value: " + parameter.getParamValue() + u"\n";
    fwriteU16(line.data(), 1, line.size(), stdout);
  }
}

}  // namespace tlmprofile

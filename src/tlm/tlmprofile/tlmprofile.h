// Sources of parameters: the abstract profile, the one built from arrays in memory and the one
// read from a flat text file.
#ifndef TLM_TLMPROFILE_TLMPROFILE_H
#define TLM_TLMPROFILE_TLMPROFILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>

#include "i18n/zulu16/zulstring.h"
#include "tlm/tlmprofile/tlmparameter.h"

namespace tlmprofile {

// Parameters by key, ordered by 16-bit unit.
typedef std::map<zulstring, CParameter> ParameterMap;

// A source of parameters, asked by the loader with load(), then getStatus().
class CProfile {
 public:
  // Values of status.
  static constexpr int32_t STATUS_NEW = 0;
  static constexpr int32_t STATUS_LOADED = 1;
  static constexpr int32_t STATUS_NOT_OPENED = 2;

  // Fills the profile from its source (path is the configuration directory, where the source has
  // a use for it) and answers a copy of what it holds.
  virtual ParameterMap load(const zulstring &path) = 0;
  // STATUS_NEW, STATUS_LOADED or STATUS_NOT_OPENED.
  virtual int32_t getStatus() = 0;
  virtual ~CProfile() = 0;

 protected:
  int32_t status_ = STATUS_NEW;
  ParameterMap parameters_;
};

// Parameters from parallel arrays. A key given twice keeps its first value.
class CMemoryProfile : public CProfile {
 public:
  // One CParameter(names[i], values[i], dynamic[i]) for each i below count; the arrays are copied.
  CMemoryProfile(const zulstring names[], const zulstring values[], const bool dynamic[],
                 size_t count);
  ~CMemoryProfile() override = default;

  // Ignores path; the status becomes STATUS_LOADED.
  ParameterMap load(const zulstring &path) override;
  int32_t getStatus() override { return status_; }
};

// Parameters from a text file of key=value lines, looked for first in the configuration directory,
// then in the working directory.
class CFlatfileProfile : public CProfile {
 public:
  // Reading stops after this many characters of a file: what follows, and a line cut there, are
  // not read. It keeps a file that never ends (a device, a pipe that is fed forever) from holding
  // up the start.
  static constexpr size_t kMaxCharacters = 8 * 1024 * 1024;

  explicit CFlatfileProfile(const zulstring &fileName) : fileName_(fileName) {}
  ~CFlatfileProfile() override = default;

  // Reads path + "/" + the file name; when that doesn't leave STATUS_LOADED, the bare file name.
  ParameterMap load(const zulstring &path) override;
  int32_t getStatus() override { return status_; }

 private:
  // Opens fullName and adds its lines; STATUS_NOT_OPENED when it can't be opened, STATUS_LOADED
  // when it was read and closed.
  void loadParameters(const zulstring &fullName);
  // Adds the lines of stream until it ends or fails, or kMaxCharacters have been read.
  void readLines(FILE *stream);
  // Adds the key and value of one line (without its line feed), if it has them.
  void addLine(const zulstring &line);

  zulstring fileName_;
};

}  // namespace tlmprofile

#endif  // TLM_TLMPROFILE_TLMPROFILE_H

// The flat-file profile: where the file is looked for, and how its lines become parameters.
#include <fcntl.h>
#include <unistd.h>

#include "tlm/tlmprofile/tlmprofile.h"
#include "zul_u16stdio.h"

namespace tlmprofile {

namespace {

constexpr ZUL_UTF16 kBlank = u' ';

// Opens name for reading. A FIFO is opened without waiting for a writer; reads block as usual
// afterwards. Null when it can't be opened.
FILE *openForReading(const zulstring &name) {
  zulu16::FileNameBytes bytes(name);
  int fd = open(bytes.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return nullptr;
  int flags = fcntl(fd, F_GETFL);
  if (flags != -1) fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
  FILE *stream = fdopen(fd, "r");
  if (stream == nullptr) close(fd);
  return stream;
}

}  // namespace

ParameterMap CFlatfileProfile::load(const zulstring &path) {
  // The slash goes in whatever the path looks like: "" gives "/tlm.conf", "/etc/" "/etc//tlm.conf".
  loadParameters(path + u"/" + fileName_);
  if (status_ != STATUS_LOADED) loadParameters(fileName_);
  return parameters_;
}

void CFlatfileProfile::loadParameters(const zulstring &fullName) {
  FILE *stream = openForReading(fullName);
  if (stream == nullptr) {
    status_ = STATUS_NOT_OPENED;
    return;
  }
  readLines(stream);
  if (fclose(stream) == 0) status_ = STATUS_LOADED;
}

void CFlatfileProfile::readLines(FILE *stream) {
  zulstring line;
  for (size_t count = 0;; ++count) {
    int c = fgetcU16(stream);
    if (c == EOF) {
      // A last line without a line feed counts as well.
      if (!line.empty()) addLine(line);
      return;
    }
    if (count == kMaxCharacters) return;
    if (c == u'\n') {
      addLine(line);
      line.clear();
    } else {
      line.push_back(static_cast<ZUL_UTF16>(c));
    }
  }
}

// Only blanks (0x20) count as white space here: tabs and carriage returns are text. The key keeps
// the length measured from the start of the line, so an indented key runs past its end into the
// text that follows it ("  abc = 1" gives the key "abc ="), which no valid key matches: indented
// lines stay inert. Comments are whole lines whose first non-blank is '#'; a '#' later on is text.
void CFlatfileProfile::addLine(const zulstring &line) {
  size_t first = line.find_first_not_of(kBlank);
  size_t hash = line.find(u'#');
  if (first == hash) return;  // a comment, or nothing but blanks
  size_t equals = line.find(u'=');
  if (equals == zulstring::npos || equals == first) return;
  size_t keyEnd = line.find_last_not_of(kBlank, equals - 1);
  zulstring key = line.substr(first, keyEnd + 1);
  size_t valueStart = line.find_first_not_of(kBlank, equals + 1);
  if (valueStart == zulstring::npos) return;
  size_t valueEnd = line.find_last_not_of(kBlank);
  zulstring value = line.substr(valueStart, valueEnd - valueStart + 1);
  parameters_.emplace(key, CParameter(key, value));
}

}  // namespace tlmprofile

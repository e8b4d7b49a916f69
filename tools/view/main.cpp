// tlm-view: shows the metric and trace text of a log file (or of standard input) for people.
//   tlm-view [FILE...]     each FILE in turn; standard input when none is given or FILE is "-"
#include <fstream>
#include <iostream>
#include <string>

#include "logreport.h"
#include "logtext.h"

namespace {

void Show(std::istream &in, std::ostream &out) {
  std::vector<tlmview::LogItem> items = tlmview::ParseLog(in);
  tlmview::PrintSummary(tlmview::Summarize(items), out);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc > 1 && (std::string(argv[1]) == "-h" || std::string(argv[1]) == "--help")) {
    std::cout << "usage: tlm-view [FILE...]   shows metric and trace text; '-' or none: stdin\n";
    return 0;
  }
  if (argc < 2) {
    Show(std::cin, std::cout);
    return 0;
  }
  int status = 0;
  for (int i = 1; i < argc; ++i) {
    std::string name = argv[i];
    if (argc > 2) std::cout << (i > 1 ? "\n" : "") << "==== " << name << '\n';
    if (name == "-") {
      Show(std::cin, std::cout);
      continue;
    }
    std::ifstream file(name, std::ios::binary);
    if (!file) {
      std::cerr << "tlm-view: cannot open " << name << '\n';
      status = 1;
      continue;
    }
    Show(file, std::cout);
  }
  return status;
}

// tlm-view: shows the metric and trace text of a log file (or of standard input) for people.
//   tlm-view [--traces N] [FILE...]   each FILE in turn; standard input when none is given or
//                                     FILE is "-"; at most N trace documents per input
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "logreport.h"
#include "logtext.h"

namespace {

constexpr int kExitUsage = 2;

int Usage() {
  std::cerr << "usage: tlm-view [--traces N] [FILE...]   metric and trace text for people;\n"
               "       FILE '-' or none: standard input; N: trace documents shown per input\n";
  return kExitUsage;
}

void Show(std::istream &in, size_t maxTraces) {
  std::vector<tlmview::LogItem> items = tlmview::ParseLog(in);
  tlmview::PrintSummary(tlmview::Summarize(items), std::cout, maxTraces);
}

}  // namespace

int main(int argc, char **argv) {
  size_t maxTraces = static_cast<size_t>(-1);
  std::vector<std::string> inputs;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "-h" || arg == "--help") return Usage();
    if (arg == "--traces") {
      if (i + 1 >= argc) return Usage();
      char *end = nullptr;
      maxTraces = std::strtoul(argv[++i], &end, 10);
      if (*end != '\0') return Usage();
    } else {
      inputs.push_back(arg);
    }
  }
  if (inputs.empty()) inputs.push_back("-");

  int status = 0;
  for (size_t i = 0; i < inputs.size(); ++i) {
    const std::string &name = inputs[i];
    if (inputs.size() > 1) std::cout << (i > 0 ? "\n" : "") << "==== " << name << '\n';
    if (name == "-") {
      Show(std::cin, maxTraces);
      continue;
    }
    std::ifstream file(name, std::ios::binary);
    if (!file) {
      std::cerr << "tlm-view: cannot open " << name << '\n';
      status = 1;
      continue;
    }
    Show(file, maxTraces);
  }
  return status;
}

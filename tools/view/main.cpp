// tlm-view: shows the metric and trace text of a log file (or of standard input) for people.
//   tlm-view [--traces N] [--transaction ID] [FILE...]
// Each FILE in turn; standard input when none is given or FILE is "-". At most N trace documents
// per input; with ID only the trace documents of that transaction, and nothing else.
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
  std::cerr << "usage: tlm-view [--traces N] [--transaction ID] [FILE...]\n"
               "  metric and trace text for people. FILE '-' or none: standard input;\n"
               "  N: trace documents shown per input; ID: show only the traces of that\n"
               "  transaction (as their headings name it)\n";
  return kExitUsage;
}

void Show(std::istream &in, size_t maxTraces, const std::string &transaction) {
  std::vector<tlmview::LogItem> items = tlmview::ParseLog(in);
  tlmview::LogSummary summary = tlmview::Summarize(items);
  if (!transaction.empty()) tlmview::KeepTransaction(summary, transaction);
  tlmview::PrintSummary(summary, std::cout, maxTraces);
}

}  // namespace

int main(int argc, char **argv) {
  size_t maxTraces = static_cast<size_t>(-1);
  std::string transaction;
  std::vector<std::string> inputs;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "-h" || arg == "--help") return Usage();
    if (arg == "--traces") {
      if (i + 1 >= argc) return Usage();
      char *end = nullptr;
      maxTraces = std::strtoul(argv[++i], &end, 10);
      if (*end != '\0') return Usage();
    } else if (arg == "--transaction") {
      if (i + 1 >= argc || argv[i + 1][0] == '\0') return Usage();
      transaction = argv[++i];
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
      Show(std::cin, maxTraces, transaction);
      continue;
    }
    std::ifstream file(name, std::ios::binary);
    if (!file) {
      std::cerr << "tlm-view: cannot open " << name << '\n';
      status = 1;
      continue;
    }
    Show(file, maxTraces, transaction);
  }
  return status;
}

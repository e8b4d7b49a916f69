// tlm-view: shows the metric and trace text of a log file (or of standard input) for people.
//   tlm-view [--html OUT.html] [--traces N] [--transaction ID] [--] [FILE...]
// Each FILE in turn; standard input when none is given or FILE is "-". At most N trace documents
// per input; with ID only the trace documents of that transaction, and nothing else. With --html
// all inputs go into one page, written to OUT.html, instead.
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "htmlreport.h"
#include "logreport.h"
#include "logtext.h"

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
// Waterfalls in a page unless --traces says otherwise: a browser opens a page of this many in
// well under a second.
constexpr size_t kHtmlDefaultTraces = 1000;

int Usage(const std::string &problem = {}) {
  if (!problem.empty()) std::cerr << "tlm-view: " << problem << '\n';
  std::cerr << "usage: tlm-view [--html OUT.html] [--traces N] [--transaction ID] [FILE...]\n"
               "  metric and trace text for people. FILE '-' or none: standard input;\n"
               "  N: trace documents shown per input (the page: waterfalls, default "
            << kHtmlDefaultTraces
            << ");\n"
               "  ID: show only the traces of that transaction (as their headings name it);\n"
               "  --html: write one self-contained page of all inputs to OUT.html\n";
  return kExitUsage;
}

struct Options {
  std::string html;
  std::optional<size_t> maxTraces;
  std::string transaction;
  std::vector<std::string> inputs;
};

// Answers an exit code when the arguments end the program instead.
std::optional<int> ParseArguments(int argc, char **argv, Options &options) {
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (optionsEnded || arg == "-" || arg.empty() || arg[0] != '-') {
      options.inputs.push_back(arg);
      continue;
    }
    bool takesValue = arg == "--traces" || arg == "--transaction" || arg == "--html";
    if (arg == "-h" || arg == "--help") {
      Usage();
      return 0;
    } else if (arg == "--") {
      optionsEnded = true;
    } else if (!takesValue) {
      return Usage("unknown option " + arg);
    } else if (i + 1 >= argc || argv[i + 1][0] == '\0') {
      return Usage(arg + " needs a value");
    } else if (arg == "--traces") {
      std::string value = argv[++i];
      char *end = nullptr;
      unsigned long long number = std::strtoull(value.c_str(), &end, 10);
      if (value.find_first_not_of("0123456789") != std::string::npos || *end != '\0')
        return Usage("--traces takes a number, not " + value);
      options.maxTraces = static_cast<size_t>(number);
    } else if (arg == "--transaction") {
      options.transaction = argv[++i];
    } else {
      options.html = argv[++i];
    }
  }
  if (options.inputs.empty()) options.inputs.push_back("-");
  return std::nullopt;
}

// Reads one input; false when it can't be opened.
bool Read(const std::string &name, std::vector<tlmview::LogItem> &items) {
  if (name == "-") {
    items = tlmview::ParseLog(std::cin);
    return true;
  }
  std::ifstream file(name, std::ios::binary);
  if (!file) {
    std::cerr << "tlm-view: cannot open " << name << '\n';
    return false;
  }
  items = tlmview::ParseLog(file);
  return true;
}

int NotFound(const std::string &transaction) {
  std::cerr << "tlm-view: transaction " << transaction << " not found\n";
  return kExitFailed;
}

int ShowText(const Options &options) {
  int status = 0;
  size_t found = 0;
  for (size_t i = 0; i < options.inputs.size(); ++i) {
    const std::string &name = options.inputs[i];
    if (options.inputs.size() > 1) std::cout << (i > 0 ? "\n" : "") << "==== " << name << '\n';
    std::vector<tlmview::LogItem> items;
    if (!Read(name, items)) {
      status = kExitFailed;
      continue;
    }
    tlmview::LogSummary summary = tlmview::Summarize(items);
    if (!options.transaction.empty()) {
      size_t kept = tlmview::KeepTransaction(summary, options.transaction);
      found += kept;
      if (kept == 0) {
        std::cout << "(no trace of transaction " << options.transaction << ")\n";
        continue;
      }
    }
    tlmview::PrintSummary(summary, std::cout, options.maxTraces.value_or(static_cast<size_t>(-1)));
  }
  if (!options.transaction.empty() && found == 0) return NotFound(options.transaction);
  return status;
}

int WriteHtml(const Options &options) {
  std::vector<std::vector<tlmview::LogItem>> items(options.inputs.size());
  std::vector<tlmview::HtmlInput> inputs;
  std::vector<const std::vector<tlmview::LogItem> *> read;
  for (size_t i = 0; i < options.inputs.size(); ++i) {
    if (!Read(options.inputs[i], items[i])) return kExitFailed;
    for (tlmview::LogItem &item : items[i]) item.source = i;
    inputs.push_back({options.inputs[i], &items[i]});
    read.push_back(&items[i]);
  }
  tlmview::LogSummary summary = tlmview::Summarize(read);
  if (!options.transaction.empty() && tlmview::KeepTransaction(summary, options.transaction) == 0) {
    return NotFound(options.transaction);
  }
  tlmview::HtmlLimits limits;
  limits.maxTraces = options.maxTraces.value_or(kHtmlDefaultTraces);
  std::ofstream out(options.html, std::ios::binary | std::ios::trunc);
  if (out) tlmview::WriteHtmlReport(summary, inputs, limits, out);
  out.close();
  if (!out) {
    std::cerr << "tlm-view: cannot write " << options.html << '\n';
    return kExitFailed;
  }
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  if (std::optional<int> exit = ParseArguments(argc, argv, options)) return *exit;
  return options.html.empty() ? ShowText(options) : WriteHtml(options);
}

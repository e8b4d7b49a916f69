// tlm-passport: decodes a passport text, or creates one.
//   tlm-passport [decode] [TEXT]     TEXT, or standard input when TEXT is missing or "-"
//   tlm-passport create [OPTIONS]    see docs/passport-tool.md
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <iterator>
#include <string>

#include "passport_tool.h"
#include "zul_epp.h"
#include "zul_u16conv.h"

namespace passport_tool {

Text FromUtf8(const std::string &utf8) {
  Text text(utf8.size() + 1, 0);
  size_t length = 0;
  Utf8sToUcsFast(text.data(), text.size(), &length,
                 reinterpret_cast<const ZUL_RAW *>(utf8.c_str()));
  text.resize(length);
  return text;
}

std::string ToUtf8(const Text &text) {
  std::string utf8(3 * text.size() + 1, '\0');
  size_t length = 0;
  UcsToUtf8sFast(reinterpret_cast<ZUL_RAW *>(utf8.data()), utf8.size(), &length, text.c_str());
  utf8.resize(length);
  return utf8;
}

void PrintLine(const Text &text) { std::cout << ToUtf8(text) << '\n'; }

namespace {

// The library's lines, each on a line of its own (a few of its messages have no line end).
void TraceToStderr(const ZUL_UTF16 *line) {
  std::string text = ToUtf8(line);
  if (text.empty() || text.back() != '\n') text += '\n';
  std::cerr << text;
}

int Usage(std::ostream &out = std::cerr) {
  out << "usage: tlm-passport [decode] [TEXT]    decode TEXT (or standard input)\n"
         "       tlm-passport create [OPTIONS]    create a passport (--help for options)\n";
  return kExitUsage;
}

std::string Trim(const std::string &s) {
  size_t begin = s.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return {};
  return s.substr(begin, s.find_last_not_of(" \t\r\n") - begin + 1);
}

}  // namespace

void StartLibrary() { eppSetEnvironment(8, 3, std::malloc, std::free, TraceToStderr, 1); }

}  // namespace passport_tool

int main(int argc, char **argv) {
  using namespace passport_tool;
  StartLibrary();
  int first = 1;
  if (argc > 1 && std::strcmp(argv[1], "create") == 0) return Create(argc - 1, argv + 1);
  if (argc > 1 && std::strcmp(argv[1], "decode") == 0) first = 2;
  if (argc > first &&
      (std::strcmp(argv[first], "-h") == 0 || std::strcmp(argv[first], "--help") == 0)) {
    Usage(std::cout);
    return kExitOk;
  }
  if (argc > first + 1) return Usage();
  std::string text;
  if (argc == first + 1 && std::strcmp(argv[first], "-") != 0) {
    text = argv[first];
  } else {
    text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  }
  return Decode(Trim(text));
}

// tlm-passport: decodes and creates passport texts with the passport library of tlm.so.
#ifndef TLM_TOOLS_PASSPORT_PASSPORT_TOOL_H
#define TLM_TOOLS_PASSPORT_PASSPORT_TOOL_H

#include <string>
#include <vector>

#include "zul_base.h"

namespace passport_tool {

// Exit codes.
inline constexpr int kExitOk = 0;
inline constexpr int kExitBadPassport = 1;
inline constexpr int kExitUsage = 2;

using Text = std::basic_string<ZUL_UTF16>;
using Bytes = std::vector<ZUL_RAW>;

// UTF-8 to 16-bit text and back.
Text FromUtf8(const std::string &utf8);
std::string ToUtf8(const Text &text);

// Writes the 16-bit text as UTF-8, with a line end, to standard output.
void PrintLine(const Text &text);

// Starts the passport library; its error lines go to standard error.
void StartLibrary();

// Prints the passport of a text (hexadecimal, or an application passport "GUID*flag") in its
// tagged form. Answers an exit code.
int Decode(const std::string &text);

// Parses the options of "create" and prints the new passport's text. Answers an exit code.
int Create(int argc, char **argv);

}  // namespace passport_tool

#endif  // TLM_TOOLS_PASSPORT_PASSPORT_TOOL_H

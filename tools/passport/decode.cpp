// Decoding: a hexadecimal passport text becomes the passport's tagged form; an application
// passport is shown as its GUID and trace flag.
#include <cstdlib>
#include <iostream>
#include <string>

#include "passport_tool.h"
#include "zul_epp.h"

namespace passport_tool {
namespace {

constexpr char kHexEyecatcher[] = "2A54482A";

bool IsHexPassportText(const std::string &text) {
  return text.size() >= 8 && text.compare(0, 8, kHexEyecatcher) == 0 &&
         text.compare(text.size() - 8, 8, kHexEyecatcher) == 0;
}

int DigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

int NotAPassport(const std::string &why) {
  std::cerr << "tlm-passport: not a passport text: " << why << '\n';
  return kExitBadPassport;
}

// "GUID*flag": the flag is the decimal number after the first "*", cut to 16 bits.
int DecodeApplicationPassport(const std::string &text) {
  size_t star = text.find('*');
  if (star == std::string::npos)
    return NotAPassport("neither hexadecimal (starting and ending with 2A54482A) nor GUID*flag");
  auto flag = static_cast<uint16_t>(std::strtol(text.c_str() + star + 1, nullptr, 10));
  std::cout << "application passport: GUID \"" << text.substr(0, star) << "\", trace flag " << flag
            << '\n';
  return kExitOk;
}

// Strict conversion: the library itself stops at the first character that isn't a capital
// hexadecimal digit and then refuses the stream; here the position is told.
bool ToBytes(const std::string &text, Bytes *bytes) {
  if (text.size() % 2 != 0) {
    NotAPassport("odd number of digits (" + std::to_string(text.size()) + ")");
    return false;
  }
  for (size_t i = 0; i < text.size(); i += 2) {
    int high = DigitValue(text[i]);
    int low = DigitValue(text[i + 1]);
    if (high < 0 || low < 0) {
      size_t at = high < 0 ? i : i + 1;
      NotAPassport("character " + std::to_string(at + 1) + " ('" + text[at] +
                   "') is not a capital hexadecimal digit");
      return false;
    }
    bytes->push_back(static_cast<ZUL_RAW>(high << 4 | low));
  }
  return true;
}

}  // namespace

int Decode(const std::string &text) {
  if (!IsHexPassportText(text)) return DecodeApplicationPassport(text);
  Bytes bytes;
  if (!ToBytes(text, &bytes)) return kExitBadPassport;
  void *handle = nullptr;
  uint32_t rc = eppDeserialize(bytes.data(), static_cast<uint32_t>(bytes.size()), &handle);
  if (rc != EPP_RC_OK) {
    std::cerr << "tlm-passport: the passport can't be read (code " << rc << ")\n";
    return kExitBadPassport;
  }
  Text printed(8192, 0);
  rc = eppPrint(handle, printed.data(), static_cast<uint32_t>(printed.size()));
  eppDelete(handle);
  if (rc != EPP_RC_OK) {
    std::cerr << "tlm-passport: the passport can't be printed (code " << rc << ")\n";
    return kExitBadPassport;
  }
  printed.resize(printed.find(ZUL_UTF16(0)));
  PrintLine(printed);
  return kExitOk;
}

}  // namespace passport_tool

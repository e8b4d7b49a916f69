// Decoding passport texts for the viewer. The binary form is read by the passport library's own
// exported functions, so the viewer needs no knowledge of its layout.
#include "passporttext.h"

#include <cstdlib>
#include <vector>

#include "zul_epp.h"
#include "zul_u16conv.h"

namespace tlmview {

namespace {

constexpr std::string_view kHexEyecatcher = "2A54482A";
// Digits of a binary passport shown before its length.
constexpr size_t kShownDigits = 16;
// The passport library's answer to eppGetActiveVersion before it is started.
constexpr uint8_t kPassportLibraryNotStarted = 8;

int DigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

// The bytes of capital hexadecimal text; empty if any character isn't a digit or one is left.
std::vector<ZUL_RAW> BytesOf(std::string_view hex) {
  std::vector<ZUL_RAW> bytes;
  if (hex.size() % 2 != 0) return bytes;
  bytes.reserve(hex.size() / 2);
  for (size_t i = 0; i < hex.size(); i += 2) {
    int high = DigitValue(hex[i]);
    int low = DigitValue(hex[i + 1]);
    if ((high | low) < 0) return {};
    bytes.push_back(static_cast<ZUL_RAW>(high << 4 | low));
  }
  return bytes;
}

// The viewer is a plain program: the library is started here unless its host started it.
void StartPassportLibraryOnce() {
  static const bool started = [] {
    if (eppGetActiveVersion() == kPassportLibraryNotStarted)
      eppSetEnvironment(8, 3, std::malloc, std::free, nullptr, 0);
    return true;
  }();
  (void)started;
}

std::string TransactionIdOf(std::string_view hex) {
  std::vector<ZUL_RAW> bytes = BytesOf(hex);
  if (bytes.empty() || bytes.size() > UINT32_MAX) return {};
  StartPassportLibraryOnce();
  void *passport = nullptr;
  if (eppDeserialize(bytes.data(), static_cast<uint32_t>(bytes.size()), &passport) != EPP_RC_OK)
    return {};
  ZUL_UTF16 units[EPP_TRANSACTION_ID_LEN + 1] = {};
  uint32_t length = 0;
  uint32_t rc = eppGetTransactionId(passport, EPP_TRANSACTION_ID_LEN, units, &length);
  eppDelete(passport);
  if (rc != EPP_RC_OK) return {};
  while (length > 0 && units[length - 1] == u' ') --length;
  units[length] = 0;
  std::string utf8(3 * EPP_TRANSACTION_ID_LEN + 1, '\0');
  size_t written = 0;
  UcsToUtf8sFast(reinterpret_cast<ZUL_RAW *>(utf8.data()), utf8.size(), &written, units);
  utf8.resize(written);
  return utf8;
}

}  // namespace

bool IsBinaryPassportText(std::string_view text) {
  return text.size() >= 2 * kHexEyecatcher.size() && text.starts_with(kHexEyecatcher) &&
         text.ends_with(kHexEyecatcher);
}

std::string PassportTransaction(std::string_view passport) {
  if (IsBinaryPassportText(passport)) return TransactionIdOf(passport);
  size_t star = passport.find('*');
  return star == std::string_view::npos ? std::string() : std::string(passport.substr(0, star));
}

std::string ShortPassport(std::string_view passport) {
  if (!IsBinaryPassportText(passport) || passport.size() <= kShownDigits) {
    return std::string(passport);
  }
  std::string shown = std::string(passport.substr(0, kShownDigits)) + "... (" +
                      std::to_string(passport.size()) + " digits";
  std::string transaction = TransactionIdOf(passport);
  if (!transaction.empty()) shown += ", transaction " + transaction;
  return shown + ")";
}

}  // namespace tlmview

// Passport texts in trace parameters: the transaction they name and their short form.
#include "passporttext.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "view_passport.h"

namespace {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  return text;
}

TEST(ViewPassportTransaction, NamesTheTransactionOfEitherKindOfPassport) {
  const std::string full = PassportText("0123456789ABCDEF0123456789ABCDEF");
  const std::string padded = PassportText("T-42");
  struct Case {
    std::string passport;
    std::string transaction;
  } cases[] = {
      {full, "0123456789ABCDEF0123456789ABCDEF"},
      {padded, "T-42"},  // the blanks that pad the field are dropped
      {"C0FFEE*1535", "C0FFEE"},
      {"*1535", ""},
      // Eyecatchers around what isn't a passport, and a passport in lower-case digits.
      {"2A54482A00112A54482A", ""},
      {"2A54482A" + Lower(full.substr(8, full.size() - 16)) + "2A54482A", ""},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(tlmview::PassportTransaction(c.passport), c.transaction) << c.passport;
  }
}

TEST(ViewPassportTransaction, ShortensOnlyBinaryPassports) {
  const std::string full = PassportText("TX1");
  EXPECT_EQ(
      tlmview::ShortPassport(full),
      full.substr(0, 16) + "... (" + std::to_string(full.size()) + " digits, transaction TX1)");
  // Recognised by its eyecatchers but not decodable: shortened without a transaction.
  std::string broken = "2A54482A" + std::string(40, '0') + "2A54482A";
  EXPECT_EQ(tlmview::ShortPassport(broken), "2A54482A00000000... (56 digits)");
  EXPECT_EQ(tlmview::ShortPassport("C0FFEE*1535"), "C0FFEE*1535");
}

}  // namespace

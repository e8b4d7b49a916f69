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
  // A full transaction id and an application passport's GUID are the report's test.
  const std::string padded = PassportText("T-42");
  const std::string full = PassportText("0123456789ABCDEF0123456789ABCDEF");
  struct Case {
    std::string passport;
    std::string transaction;
  } cases[] = {
      {padded, "T-42"},  // the blanks that pad the field are dropped
      {"*1535", ""},
      // Eyecatchers around what isn't a passport, and a passport in lower-case digits.
      {"2A54482A00112A54482A", ""},
      {"2A54482A" + Lower(full.substr(8, full.size() - 16)) + "2A54482A", ""},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(tlmview::PassportTransaction(c.passport), c.transaction) << c.passport;
  }
}

// Recognised by its eyecatchers but not decodable: shortened without a transaction. A passport
// that decodes, and one of an application, are the report's test.
TEST(ViewPassportTransaction, ShortensAPassportThatDoesNotDecodeWithoutATransaction) {
  std::string broken = "2A54482A" + std::string(40, '0') + "2A54482A";
  EXPECT_EQ(tlmview::ShortPassport(broken), "2A54482A00000000... (56 digits)");
}

}  // namespace

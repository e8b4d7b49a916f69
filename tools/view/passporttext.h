// Passport texts found in trace parameters, made readable: the transaction they name, and a short
// form of a binary passport's long hexadecimal text.
#ifndef TLM_TOOLS_VIEW_PASSPORTTEXT_H
#define TLM_TOOLS_VIEW_PASSPORTTEXT_H

#include <string>
#include <string_view>

namespace tlmview {

// The parameter of a trace document that holds the passport its transaction came with.
inline constexpr std::string_view kIncomingPassportParam = "request.header.ZUL-PASSPORT";

// True for the hexadecimal text of a binary passport: it begins and ends with the hexadecimal
// form of the passport's eyecatcher. Says nothing about whether the rest decodes.
bool IsBinaryPassportText(std::string_view text);

// The transaction that a passport text names: for a binary passport the transaction id of its
// network form (decoded with the passport library, which this starts if nobody has), without the
// blanks that pad it; for an application passport "GUID*flag" the GUID. Empty when the text
// names none or doesn't decode.
std::string PassportTransaction(std::string_view passport);

// For display: a binary passport's text as its first digits, its length and its transaction;
// any other text as it is.
std::string ShortPassport(std::string_view passport);

}  // namespace tlmview

#endif  // TLM_TOOLS_VIEW_PASSPORTTEXT_H

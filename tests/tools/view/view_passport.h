// Binary passport texts for the viewer's tests, made with the passport library.
#ifndef TESTS_TOOLS_VIEW_VIEW_PASSPORT_H
#define TESTS_TOOLS_VIEW_VIEW_PASSPORT_H

#include <string>
#include <vector>

#include "epp_start.h"
#include "zul_epp.h"

// The hexadecimal text of a version 3 passport with transaction id transaction (ASCII).
inline std::string PassportText(const std::string &transaction) {
  StartPassportLibrary();
  void *passport = nullptr;
  eppInit(&passport);
  std::u16string units(transaction.begin(), transaction.end());
  eppSetTransactionId(passport, units.c_str(), static_cast<uint32_t>(units.size()));
  uint32_t size = 0;
  eppNeededNetworkSize(passport, &size);
  std::vector<ZUL_RAW> bytes(size);
  uint32_t used = 0;
  eppSerialize(passport, bytes.data(), size, &used);
  eppDelete(passport);
  static const char kDigits[] = "0123456789ABCDEF";
  std::string hex;
  for (uint32_t i = 0; i < used; ++i) {
    hex += kDigits[bytes[i] >> 4];
    hex += kDigits[bytes[i] & 15];
  }
  return hex;
}

#endif  // TESTS_TOOLS_VIEW_VIEW_PASSPORT_H

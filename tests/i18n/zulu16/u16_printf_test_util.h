// Helpers shared by the formatted output tests.
#ifndef TLM_TESTS_I18N_ZULU16_U16_PRINTF_TEST_UTIL_H
#define TLM_TESTS_I18N_ZULU16_U16_PRINTF_TEST_UTIL_H

#include <string>
#include <vector>

#include "u16_string_test_support.h"
#include "zul_u16printf.h"

namespace u16_printf_test {

using u16test::W;

// sprintfU16 into a roomy buffer; the text up to the terminator. *answer gets the call's answer.
template <typename... Args>
std::u16string Format(int *answer, const char16_t *format, Args... args) {
  std::vector<char16_t> buffer(16384, u'#');
  *answer = sprintfU16(buffer.data(), format, args...);
  return std::u16string(buffer.data());
}

}  // namespace u16_printf_test

#endif  // TLM_TESTS_I18N_ZULU16_U16_PRINTF_TEST_UTIL_H

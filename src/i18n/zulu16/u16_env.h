// Internal view of the environment tables of getenvU16 and putenvU16, for tests.
#ifndef TLM_I18N_ZULU16_U16_ENV_H
#define TLM_I18N_ZULU16_U16_ENV_H

#include <cstddef>

namespace zulu16 {

// Lines of the getenvU16 table: 128.
constexpr size_t kGetenvTableLines = 128;
// Lines by which the putenvU16 table starts and grows: 128. The table grows when, after its
// cleanup, more than its size minus kPutenvHeadroom lines are still in use.
constexpr size_t kPutenvTableStep = 128;
constexpr size_t kPutenvHeadroom = 24;

// Lines of the getenvU16 table in use now.
size_t GetenvTableUse() noexcept;
// Lines in use and allocated of the putenvU16 table.
size_t PutenvTableCount() noexcept;
size_t PutenvTableSize() noexcept;

}  // namespace zulu16

#endif  // TLM_I18N_ZULU16_U16_ENV_H

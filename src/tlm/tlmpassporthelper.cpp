// Passport texts: recognition, field readers, trace levels and outgoing passports.
#include "tlm/tlmpassporthelper.h"

#include <array>
#include <cstring>
#include <memory>
#include <new>

#define DPTRC_MODULE u"tlmpassporthelper"

#include "epp/epp_hex.h"
#include "tlm/tlmplatformhelper.h"
#include "zul_dptrace.h"
#include "zul_epp.h"
#include "zul_u16printf.h"
#include "zul_u16string.h"

namespace {

constexpr ZUL_UTF16 kHexEyecatcher[] = u"2A54482A";
constexpr size_t kHexEyecatcherUnits = 8;

constexpr ZUL_UTF16 kFieldsUnreadable[] =
    u"Epp error encountered when extract the rootContextId/connectionId/connectionCounter, use "
    u"generated GUID instead!\n";

// Levels by trace flag: each entry gives the level from its flag on.
struct FlagLevel {
  uint16_t from_flag;
  uint16_t level;
};
constexpr FlagLevel kVersion3Levels[] = {{0, 1}, {2697, 2}, {3487, 3}};
constexpr FlagLevel kOtherLevels[] = {{0, 0}, {9, 1}, {925, 2}, {1535, 3}};

template <size_t N>
uint16_t LevelOf(const FlagLevel (&table)[N], uint16_t flag) {
  uint16_t level = table[0].level;
  for (const FlagLevel &step : table)
    if (flag >= step.from_flag) level = step.level;
  return level;
}

// The trace flag an outgoing passport raised to version 3 carries for a level.
uint16_t OutgoingFlag(uint16_t level) {
  switch (level) {
    case 2:
      return PassportHelper::kFlagLevelMedium;
    case 3:
      return PassportHelper::kFlagLevelHigh;
    default:
      return 0;
  }
}

// Values of the capital hexadecimal digits by unit; -1 for every other unit below 256.
constexpr std::array<int8_t, 256> MakeDigitValues() {
  std::array<int8_t, 256> values{};
  for (int unit = 0; unit < 256; ++unit) {
    values[unit] = unit >= '0' && unit <= '9'   ? int8_t(unit - '0')
                   : unit >= 'A' && unit <= 'F' ? int8_t(unit - 'A' + 10)
                                                : int8_t(-1);
  }
  return values;
}
constexpr std::array<int8_t, 256> kDigitValues = MakeDigitValues();

int HexValue(ZUL_UTF16 unit) { return unit < 256 ? kDigitValues[unit] : -1; }

// HexStringToByteArray for a text of known length.
size_t HexToBytes(const ZUL_UTF16 *text, size_t units, ZUL_RAW *buffer, size_t size) {
  size_t converted = 0;
  size_t i = 0;
  for (; converted < size && i + 1 < units; i += 2) {
    int high = HexValue(text[i]);
    int low = HexValue(text[i + 1]);
    if ((high | low) < 0) break;
    buffer[converted++] = static_cast<ZUL_RAW>(high << 4 | low);
  }
  // An odd last digit gives a byte with its low half 0.
  if (converted < size && i + 1 == units && HexValue(text[i]) >= 0)
    buffer[converted++] = static_cast<ZUL_RAW>(HexValue(text[i]) << 4);
  std::memset(buffer + converted, 0, size - converted);
  return converted;
}

// Bytes of a stream: on the stack up to the size of the largest passport, else on the heap.
class StreamBytes {
 public:
  explicit StreamBytes(size_t size)
      : heap_(size > sizeof local_ ? new (std::nothrow) ZUL_RAW[size] : nullptr),
        data_(size > sizeof local_ ? heap_.get() : local_) {}
  // Null when the heap had no room.
  ZUL_RAW *data() const { return data_; }

 private:
  ZUL_RAW local_[2048];
  std::unique_ptr<ZUL_RAW[]> heap_;
  ZUL_RAW *data_;
};

void SetFlag(void *handle, uint16_t flag) {
  ZUL_RAW bytes[2];
  std::memcpy(bytes, &flag, sizeof bytes);
  eppSetTraceFlag(handle, bytes);
}

size_t Length(const ZUL_UTF16 *text) { return text != nullptr ? strlenU16(text) : 0; }

}  // namespace

void *PassportHelper::IsZULPassport(const ZUL_UTF16 *text) {
  size_t units = Length(text);
  if (units < kHexEyecatcherUnits ||
      std::memcmp(text, kHexEyecatcher, sizeof kHexEyecatcher - sizeof(ZUL_UTF16)) != 0 ||
      std::memcmp(text + units - kHexEyecatcherUnits, kHexEyecatcher,
                  sizeof kHexEyecatcher - sizeof(ZUL_UTF16)) != 0)
    return nullptr;
  size_t size = units / 2;
  StreamBytes bytes(size);
  void *handle = nullptr;
  if (bytes.data() != nullptr && size <= UINT32_MAX) {
    HexToBytes(text, units, bytes.data(), size);
    if (eppDeserialize(bytes.data(), static_cast<uint32_t>(size), &handle) == EPP_RC_OK)
      return handle;
  }
  DPTRC_ERR(tf, u"Bad ZUL passport format, deserialization failed!\n");
  return nullptr;
}

void PassportHelper::DestroyPassportHandle(void *&handle) {
  eppDelete(handle);
  handle = nullptr;
}

uint8_t PassportHelper::GetPassportVersion(void *&handle) {
  uint8_t version = 0;
  if (handle == nullptr || eppGetVersion(handle, &version) != EPP_RC_OK) return 0;
  return version;
}

uint16_t PassportHelper::GetTraceFlagFromZULPassport(void *&handle) {
  ZUL_RAW bytes[2];
  if (eppGetTraceFlag(handle, bytes) != EPP_RC_OK) {
    DPTRC_ERR(tf, u"Epp error encountered when extract the traceFlag, use default flag value!\n");
    return 0;
  }
  uint16_t flag;
  std::memcpy(&flag, bytes, sizeof flag);
  return flag;
}

uint16_t PassportHelper::GetTraceLevelFromTraceFlag(uint16_t flag, uint8_t version) {
  return version == 3 ? LevelOf(kVersion3Levels, flag) : LevelOf(kOtherLevels, flag);
}

uint16_t PassportHelper::GetTraceFlagFromApplicationPassport(const ZUL_UTF16 *text) {
  const ZUL_UTF16 *star = text != nullptr ? strchrU16(text, u'*') : nullptr;
  if (star == nullptr) {
    DPTRC_ERR(tf,
              u"Application passport separater is missing when extract the "
              u"traceFlag, use default flag value!\n");
    return 0;
  }
  return static_cast<uint16_t>(strtolU16(star + 1, nullptr, 10));
}

zulstring PassportHelper::GetTraceGuidFromApplicationPassport(const ZUL_UTF16 *text) {
  const ZUL_UTF16 *star = text != nullptr ? strchrU16(text, u'*') : nullptr;
  if (star == nullptr) {
    DPTRC_ERR(tf,
              u"Invalid application passport format encountered, use generated GUID instead!\n");
    return TLMPlatformHelper::GetGUID();
  }
  return zulstring(text, static_cast<size_t>(star - text));
}

zulstring PassportHelper::GetTransactionIdFromZULPassport(void *&handle) {
  ZUL_UTF16 text[EPP_TRANSACTION_ID_LEN];
  uint32_t length = 0;
  if (eppGetTransactionId(handle, EPP_TRANSACTION_ID_LEN, text, &length) != EPP_RC_OK) {
    DPTRC_ERR(
        tf, u"Epp error encountered when extract the transactionId, use generated GUID instead!\n");
    return TLMPlatformHelper::GetGUID();
  }
  return zulstring(text, length);
}

namespace {

// An identifier of a version 3 passport in hexadecimal; empty text for other versions and, with
// the error line, when it can't be read.
zulstring IdentifierText(void *handle, uint8_t version, uint32_t (*getter)(void *, ZUL_RAW *)) {
  if (version != 3) return {};
  ZUL_RAW id[EPP_UUID_LEN];
  if (getter(handle, id) != EPP_RC_OK) {
    DPTRC_ERR(tf, kFieldsUnreadable);
    return {};
  }
  return PassportHelper::ByteArrayToHexString(id, EPP_UUID_LEN);
}

}  // namespace

zulstring PassportHelper::GetRootContextIdFromZULPassport(void *&handle, uint8_t version) {
  return IdentifierText(handle, version, eppGetRootContextId);
}

zulstring PassportHelper::GetConnectionIdFromZULPassport(void *&handle, uint8_t version) {
  return IdentifierText(handle, version, eppGetConnectionId);
}

uint32_t PassportHelper::GetConnectionCounterFromZULPassport(void *&handle, uint8_t version) {
  if (version != 3) return 0;
  uint32_t counter = 0;
  if (eppGetConnectionCounter(handle, &counter) != EPP_RC_OK) {
    DPTRC_ERR(tf, kFieldsUnreadable);
    return 0;
  }
  return counter;
}

zulstring PassportHelper::GetTraceGuidFromZULPassport(void *&handle) {
  switch (GetPassportVersion(handle)) {
    case 2:
      return GetTransactionIdFromZULPassport(handle);
    case 3: {
      ZUL_RAW root[EPP_UUID_LEN];
      ZUL_RAW connection[EPP_UUID_LEN];
      uint32_t counter = 0;
      if (eppGetRootContextId(handle, root) != EPP_RC_OK ||
          eppGetConnectionId(handle, connection) != EPP_RC_OK ||
          eppGetConnectionCounter(handle, &counter) != EPP_RC_OK) {
        DPTRC_ERR(tf, kFieldsUnreadable);
        return TLMPlatformHelper::GetGUID();
      }
      ZUL_UTF16 counter_text[9];
      snprintfU16(counter_text, 9, u"%8.8X", unsigned{counter});
      return ByteArrayToHexString(root, EPP_UUID_LEN) +
             ByteArrayToHexString(connection, EPP_UUID_LEN) + counter_text;
    }
    default:
      return {};
  }
}

zulstring PassportHelper::CreateOutgoingPassport(void *&handle, const ZUL_UTF16 *connection_id,
                                                 uint32_t counter, uint16_t level,
                                                 const ZUL_UTF16 *previous_component) {
  if (handle == nullptr) {
    if (eppInit(&handle) != EPP_RC_OK) return {};
    SetFlag(handle, kFlagNewPassport);
  } else if (GetPassportVersion(handle) == 2) {
    eppSetVersion(handle, 3);
    SetFlag(handle, OutgoingFlag(level));
  }
  // An identifier takes 16 bytes: a longer text is cut, a shorter one leaves zeros behind it.
  ZUL_RAW id[EPP_UUID_LEN] = {};
  size_t id_size = Length(connection_id) / 2;
  HexStringToByteArray(connection_id, id, id_size < sizeof id ? id_size : sizeof id);
  // A passport that stayed below version 3 refuses these two; it travels on without them.
  eppSetConnectionId(handle, id);
  eppSetConnectionCounter(handle, counter);
  eppSetPreComponentName(handle, previous_component,
                         static_cast<uint32_t>(Length(previous_component)));

  uint32_t needed = 0;
  if (eppNeededNetworkSize(handle, &needed) != EPP_RC_OK) return {};
  StreamBytes bytes(needed);
  uint32_t used = 0;
  if (bytes.data() == nullptr || eppSerialize(handle, bytes.data(), needed, &used) != EPP_RC_OK)
    return {};
  return ByteArrayToHexString(bytes.data(), used);
}

size_t PassportHelper::HexStringToByteArray(const ZUL_UTF16 *text, ZUL_RAW *buffer, size_t size) {
  return HexToBytes(text, Length(text), buffer, size);
}

zulstring PassportHelper::ByteArrayToHexString(const ZUL_RAW *bytes, size_t count) {
  zulstring text(2 * count, u'0');
  epp::eppX2C(bytes, static_cast<uint32_t>(count), text.data());
  return text;
}

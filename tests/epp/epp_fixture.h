// Fixture of the passport library tests: the library started with a trace that the test reads,
// and passports that are freed after the test.
#ifndef TESTS_EPP_EPP_FIXTURE_H
#define TESTS_EPP_EPP_FIXTURE_H

#include "epp_start.h"
#include "passport_bytes.h"
#include "zul_epp.h"

namespace epp_test {

using passport_bytes::Bytes;

inline std::vector<std::u16string> &TraceLines() {
  static std::vector<std::u16string> lines;
  return lines;
}
inline void CaptureTrace(const ZUL_UTF16 *text) { TraceLines().emplace_back(text); }

// True when a trace line contains part.
inline bool Traced(const std::u16string &part) {
  for (const auto &line : TraceLines())
    if (line.find(part) != std::u16string::npos) return true;
  return false;
}

class EppTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(StartPassportLibrary(CaptureTrace, 3), 0u);
    TraceLines().clear();
  }

  void TearDown() override {
    for (void *h : owned_) EXPECT_EQ(eppDelete(h), 0u);
  }

  // A new passport of the version, freed after the test.
  void *New(uint8_t version = 3) {
    void *h = nullptr;
    EXPECT_EQ(eppInit(&h), 0u);
    EXPECT_EQ(eppSetVersion(h, version), 0u);
    return Own(h);
  }
  void *Own(void *h) {
    if (h != nullptr) owned_.push_back(h);
    return h;
  }
  // Parses bytes; the passport (if any) is freed after the test.
  uint32_t Parse(const Bytes &bytes, void **h) {
    uint32_t rc = eppDeserialize(bytes.data(), uint32_t(bytes.size()), h);
    Own(*h);
    return rc;
  }
  Bytes Serialize(void *h) {
    uint32_t needed = 0;
    EXPECT_EQ(eppNeededNetworkSize(h, &needed), 0u);
    Bytes out(needed + 64);
    uint32_t used = 0;
    EXPECT_EQ(eppSerialize(h, out.data(), uint32_t(out.size()), &used), 0u);
    out.resize(used);
    return out;
  }

 private:
  std::vector<void *> owned_;
};

// The size of the passport's network form.
inline uint32_t Needed(void *h) {
  uint32_t needed = 0;
  EXPECT_EQ(eppNeededNetworkSize(h, &needed), 0u);
  return needed;
}

// One text field through its getter, at its full width.
template <typename Getter>
std::u16string GetText(void *h, Getter getter, uint32_t capacity = 64) {
  std::u16string buffer(capacity, u'\0');
  uint32_t length = 0;
  EXPECT_EQ(getter(h, capacity, buffer.data(), &length), 0u);
  return buffer.substr(0, length);
}

}  // namespace epp_test

#endif  // TESTS_EPP_EPP_FIXTURE_H

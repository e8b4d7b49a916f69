// Access list texts: the input, as 16-bit text, goes to the list parser on a scratch list.
//
// Rules: the result is ZUL_O_K or a refusal code; at most 256 rules; each rule's line lies within
// the text; and for a few addresses the list's first-match answer equals the one computed from
// the rules' own lines with the address parser and the address matcher.
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "ni/nixxacl.h"
#include "zul_ctrc.h"

namespace {

using ni::acl::NIACLIMPL;

// The lines of the text as the parser counts them: split at line feeds, without the line ends.
std::vector<std::u16string> AclLines(const std::u16string &text) {
  std::vector<std::u16string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t nl = text.find(u'\n', start);
    if (nl == std::u16string::npos) nl = text.size();
    std::u16string line = text.substr(start, nl - start);
    if (!line.empty() && line.back() == u'\r') line.pop_back();  // part of the line end
    lines.push_back(line);
    start = nl + 1;
  }
  return lines;
}

struct RefRule {
  bool permit;
  NI_NODEADDR addr, mask;
};

// The rule a line stands for, read again from its words.
RefRule FromLine(std::u16string line) {
  line.resize(std::min<size_t>(line.size(), ni::acl::kMaxLineUnits));
  line = line.substr(0, line.find(u'#'));
  std::vector<std::u16string> words;
  std::u16string w;
  for (char16_t c : line + u" ") {
    if (c == u' ' || c == u'\t') {
      if (!w.empty()) words.push_back(w);
      w.clear();
    } else {
      w += c;
    }
  }
  FUZZ_REQUIRE(words.size() >= 2);
  RefRule r{};
  r.permit = words[0].size() == 6 && (words[0][0] | 0x20) == u'p';
  FUZZ_REQUIRE(NiStrToAddrMask(words[1].c_str(), &r.addr, &r.mask, nullptr) == ZUL_O_K);
  return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static bool once = [] {
    ct_level = 0;
    return true;
  }();
  (void)once;
  std::u16string text = fuzzsupport::Units(data, size);
  if (text.find(u'\0') != std::u16string::npos) text.resize(text.find(u'\0'));
  auto acl = std::make_unique<NIACLIMPL>();
  int rc = ni::acl::ParseString(acl.get(), text.c_str(), -1, nullptr);
  FUZZ_REQUIRE(rc == ZUL_O_K || rc == NIEINVAL || rc == NIEINTERN);
  FUZZ_REQUIRE(acl->mRuleCount <= static_cast<uint32_t>(ni::acl::kMaxRules));
  FUZZ_REQUIRE(rc != ZUL_O_K || acl->mRuleCount > 0);
  std::vector<std::u16string> lines = AclLines(text);
  std::vector<RefRule> ref;
  uint32_t lastLine = 0;
  for (uint32_t i = 0; i < acl->mRuleCount; ++i) {
    const auto &rule = acl->mRules[i];
    FUZZ_REQUIRE(rule.mLine > lastLine && rule.mLine <= lines.size());
    FUZZ_REQUIRE(rule.mTraceLevel >= 1 && rule.mTraceLevel <= 3);
    lastLine = rule.mLine;
    ref.push_back(FromLine(lines[rule.mLine - 1]));
    FUZZ_REQUIRE(ref.back().permit == (rule.mState == ni::acl::kPermit));
  }
  // Probes: each rule's own address, its last byte flipped, and two fixed ones.
  std::vector<NI_NODEADDR> probes = {NI_ADDR_LOCAL_I4_INIT, NI_ADDR_LOCAL_I6_INIT};
  for (size_t i = 0; i < ref.size() && i < 8; ++i) {
    probes.push_back(ref[i].addr);
    probes.push_back(ref[i].addr);
    probes.back().addr[15] ^= 0x5A;
  }
  for (const NI_NODEADDR &p : probes) {
    int expected = NIEACL_DENIED;
    for (const RefRule &r : ref) {
      if (NiAddrMatch(&p, &r.addr, &r.mask) == 1) {
        expected = r.permit ? ZUL_O_K : NIEACL_DENIED;
        break;
      }
    }
    FUZZ_REQUIRE(ni::acl::CheckAddress(acl.get(), &p) == expected);
  }
  return 0;
}

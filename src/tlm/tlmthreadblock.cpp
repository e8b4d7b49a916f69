// The per-thread block of the core and its record pool.
#include "tlm/tlmthreadblock.h"

#include <algorithm>
#include <cstring>

#include "tlm/tlmapicall.h"
#include "tlm/tlmmtrecord.h"
#include "tlm/tlmplatformhelper.h"

namespace {

__attribute__((tls_model("initial-exec"))) thread_local CThreadBlock *tBlock = nullptr;

// Frees the thread's block when the thread ends.
struct BlockOwner {
  std::unique_ptr<CThreadBlock> block;
  ~BlockOwner() { tBlock = nullptr; }
};

CThreadBlock *MakeBlock() noexcept {
  try {
    thread_local BlockOwner owner;
    owner.block = std::make_unique<CThreadBlock>();
    tBlock = owner.block.get();
    return tBlock;
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

CSessionKey::CSessionKey(const zulstring &text)
    : text(text), hash(TLMPlatformHelper::GetSessionIdentifierHash(text)) {}

CThreadBlock *CThreadBlock::Current() noexcept {
  CThreadBlock *block = tBlock;
  return __builtin_expect(block != nullptr, 1) ? block : MakeBlock();
}

CThreadBlock *CThreadBlock::CurrentIfAny() noexcept { return tBlock; }

CThreadBlock::CThreadBlock()
    : sessionText_(TLMPlatformHelper::GetThreadId()),
      sessionHash_(TLMPlatformHelper::GetSessionIdentifierHash(sessionText_)) {
  tlmapi::enlistThread(this);
}

CThreadBlock::~CThreadBlock() { tlmapi::delistThread(this); }

CRecordPool::CRecordPool() { records_.reserve(kCapacity); }

CRecordPool::~CRecordPool() {
  for (CMTRecord *record : records_) delete record;
}

bool CRecordPool::give(CMTRecord *record) noexcept {
  if (records_.size() >= kCapacity) return false;
  // Its children come back here first (or are freed when the pool fills up meanwhile).
  record->releaseForReuse();
  if (records_.size() >= kCapacity) return false;
  records_.push_back(record);
  return true;
}

CMTRecord *CRecordPool::take(const zulstring &name, bool &sameName) noexcept {
  if (records_.empty()) return nullptr;
  // The most recently given record of that name, or else the most recent of all. Equal texts are
  // equal bytes, which memcmp compares faster than the unit-by-unit compare of the string.
  auto same = std::find_if(records_.rbegin(), records_.rend(), [&](const CMTRecord *record) {
    const zulstring &kept = record->getMetricName();
    return kept.size() == name.size() &&
           std::memcmp(kept.data(), name.data(), name.size() * sizeof(ZUL_UTF16)) == 0;
  });
  sameName = same != records_.rend();
  auto chosen = sameName ? std::prev(same.base()) : std::prev(records_.end());
  CMTRecord *record = *chosen;
  records_.erase(chosen);
  return record;
}

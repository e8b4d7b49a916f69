// The ring of sections shared by metrics and traces: the front section is active and takes every
// update; a sending run takes it out, its successor becomes active, and the run puts it back at
// the end when it has been sent.
#ifndef TLM_TLMSECTIONRING_H
#define TLM_TLMSECTIONRING_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "tlm/tlmlocks.h"

// Section: constructible from its id (u16). The ring owns its sections; a run owns the one it
// took out until it puts it back. The slots are allocated once by build(), so rotating allocates
// nothing and can't fail.
//
// Lock order: the ring lock before a section's locks. The ring lock is held exclusively only to
// move pointers (and by what the caller runs under it, which must be as short).
template <typename Section>
class CSectionRing {
 public:
  CSectionRing() = default;
  CSectionRing(const CSectionRing &) = delete;
  CSectionRing &operator=(const CSectionRing &) = delete;

  // Fills the ring with count sections, ids 1 to count. Before any other use.
  void build(uint16_t count) {
    slots_.resize(count);
    for (uint16_t id = 1; id <= count; ++id) slots_[id - 1] = std::make_unique<Section>(id);
    front_ = 0;
    size_ = count;
  }

  // Calls use(active section) under the ring lock shared, so that no switch pulls the section
  // away meanwhile, and answers its result; answers empty when the ring is empty.
  template <typename Result, typename Use>
  Result withActive(Result empty, Use use) {
    CSharedLock hold(&lock_);
    return size_ == 0 ? empty : use(*slots_[front_], version_.load(std::memory_order_relaxed));
  }

  // The number of switches so far.
  uint32_t version() const { return version_.load(std::memory_order_relaxed); }
  // The number of sections in the ring now.
  size_t size() {
    CSharedLock hold(&lock_);
    return size_;
  }

  // Sets the in-process flag; false when it was set already.
  bool setInProcessStatus() { return !inProcess_.exchange(true, std::memory_order_acquire); }
  void resetInProcessStatus() { inProcess_.store(false, std::memory_order_release); }

  // One sending run: owns the in-process flag, and the section it took out, for its life.
  class Run {
   public:
    explicit Run(CSectionRing &ring) : ring_(ring), started_(ring.setInProcessStatus()) {}
    // Puts the section taken out back at the end of the ring and clears the flag, both under the
    // ring lock exclusive; onPutBack runs under it too.
    ~Run() { finish([] {}); }
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    // False when another run was under way: this one does nothing.
    bool started() const { return started_; }
    // Under the ring lock exclusive: counts a switch, runs beforeTake(), takes the front out and
    // runs onSwitched(taken, new active). Answers the section taken out, or null (with nothing
    // taken) when the ring holds fewer than two sections.
    template <typename BeforeTake, typename OnSwitched>
    Section *switchSection(BeforeTake beforeTake, OnSwitched onSwitched) {
      CExclusiveLock hold(&ring_.lock_);
      ring_.version_.store(ring_.version_.load(std::memory_order_relaxed) + 1,
                           std::memory_order_relaxed);
      beforeTake();
      if (ring_.size_ < 2) return nullptr;
      taken_ = std::move(ring_.slots_[ring_.front_]);
      ring_.front_ = (ring_.front_ + 1) % ring_.slots_.size();
      --ring_.size_;
      onSwitched(*taken_, *ring_.slots_[ring_.front_]);
      return taken_.get();
    }
    // Ends the run now; onPutBack runs under the ring lock exclusive after the section is back.
    template <typename OnPutBack>
    void finish(OnPutBack onPutBack) noexcept {
      if (!started_) return;
      CExclusiveLock hold(&ring_.lock_);
      if (taken_ != nullptr) {
        ring_.slots_[(ring_.front_ + ring_.size_) % ring_.slots_.size()] = std::move(taken_);
        ++ring_.size_;
        onPutBack();
      }
      ring_.resetInProcessStatus();
      started_ = false;
    }

   private:
    CSectionRing &ring_;
    bool started_;
    std::unique_ptr<Section> taken_;
  };

 private:
  CCoreRwLock lock_;  // guards slots_, front_, size_
  std::vector<std::unique_ptr<Section>> slots_;
  size_t front_ = 0;
  size_t size_ = 0;
  std::atomic<uint32_t> version_{0};
  std::atomic<bool> inProcess_{false};  // a run is under way
};

#endif  // TLM_TLMSECTIONRING_H

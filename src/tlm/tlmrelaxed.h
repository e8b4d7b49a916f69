// A number that one lock guards for writers while other threads may read it without that lock.
#ifndef TLM_TLMRELAXED_H
#define TLM_TLMRELAXED_H

#include <atomic>
#include <cstdint>
#include <type_traits>

// Loads and stores are relaxed atomics: on x86-64 plain moves, but a read that races with a
// locked update is well defined and sees either value. Read-modify-write sequences are not
// atomic: writers hold the owner's lock.
template <typename T>
class CRelaxed {
 public:
  constexpr CRelaxed(T value = T()) noexcept : value_(value) {}
  CRelaxed(const CRelaxed &other) noexcept : value_(other.get()) {}
  CRelaxed &operator=(const CRelaxed &other) noexcept {
    set(other.get());
    return *this;
  }
  CRelaxed &operator=(T value) noexcept {
    set(value);
    return *this;
  }
  operator T() const noexcept { return get(); }
  T get() const noexcept { return value_.load(std::memory_order_relaxed); }
  void set(T value) noexcept { value_.store(value, std::memory_order_relaxed); }
  // Adds in two's complement, wrapping at the type's limits instead of overflowing.
  void add(T delta) noexcept {
    using U = std::make_unsigned_t<T>;
    set(static_cast<T>(static_cast<U>(get()) + static_cast<U>(delta)));
  }

 private:
  std::atomic<T> value_;
};

#endif  // TLM_TLMRELAXED_H

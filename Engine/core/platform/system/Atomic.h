#pragma once

#include <atomic>
#include <cstdint>

namespace melnar {

/// A value that threads share without a lock. Always with an explicit memory order.
///
/// Threads that use a hash table communicate through Atomic, Mutex and Condition, and wait with spinPause. The tests
/// compile the engine a second time with replacements of these headers. There, a scheduler decides which thread takes
/// the next step, and a load may return old values that its memory order allows.
template<class T>
using Atomic = std::atomic<T>;

/// Reads eight neighbouring bytes as one number. The address of the first must be divisible by eight. Each byte is a
/// value that a load of it alone could return.
[[gnu::always_inline]] inline uint64_t loadEightBytes(const Atomic<uint8_t>* const first,
                                                      const std::memory_order order) noexcept {
    static_assert(sizeof(Atomic<uint8_t>) == 1);
    using Word [[gnu::may_alias]] = uint64_t;
    return __atomic_load_n(reinterpret_cast<const Word*>(first), static_cast<int>(order));
}

} // namespace melnar

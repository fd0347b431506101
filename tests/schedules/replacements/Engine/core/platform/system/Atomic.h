#pragma once

#include "tests/schedules/Schedule.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>

namespace melnar {

/// Replaces the engine's Atomic: each access is a step of the current schedule, which decides what thread goes on
/// before it and, for a load, which value it returns. Without a schedule it is an ordinary atomic.
///
/// The variable itself always holds the newest value. It is accessed with the order of the operation, so that
/// ThreadSanitizer sees what it would see in the engine.
template<class T>
class Atomic {
public:
    using value_type = T;

    static constexpr bool is_always_lock_free = true;

    constexpr Atomic() noexcept : m_value() {}
    constexpr Atomic(const T value) noexcept : m_value(value) {} // NOLINT(google-explicit-constructor): as std::atomic
    Atomic(const Atomic&) = delete;
    Atomic& operator=(const Atomic&) = delete;

    T load(const std::memory_order order) const noexcept {
        if (Schedule* const schedule = Schedule::getCurrent()) {
            schedule->step();
            const T newest = __atomic_load_n(&m_value, static_cast<int>(order));
            return fromBits(schedule->load(&m_value, toBits(newest), order));
        }
        return __atomic_load_n(&m_value, static_cast<int>(order));
    }

    void store(const T value, const std::memory_order order) noexcept {
        if (Schedule* const schedule = Schedule::getCurrent()) {
            schedule->step();
            schedule->store(&m_value, toBits(peek()), toBits(value), order);
        }
        __atomic_store_n(&m_value, value, static_cast<int>(order));
    }

    T exchange(const T value, const std::memory_order order) noexcept {
        return modify([value](T) { return value; }, order);
    }

    T fetch_add(const T value, const std::memory_order order) noexcept {
        return modify([value](const T old) { return static_cast<T>(old + value); }, order);
    }

    T fetch_sub(const T value, const std::memory_order order) noexcept {
        return modify([value](const T old) { return static_cast<T>(old - value); }, order);
    }

    bool compare_exchange_strong(T& expected, const T desired, const std::memory_order success,
                                 const std::memory_order failure) noexcept {
        if (Schedule* const schedule = Schedule::getCurrent()) {
            schedule->step();
            if (const std::optional<uint64_t> value =
                    schedule->failComparison(toBits(expected), &m_value, toBits(peek()), failure)) {
                static_cast<void>(__atomic_load_n(&m_value, static_cast<int>(failure))); // for ThreadSanitizer
                expected = fromBits(*value);
                return false;
            }
            schedule->modify(&m_value, toBits(peek()), toBits(desired), success);
        }
        return __atomic_compare_exchange_n(&m_value, &expected, desired, false, static_cast<int>(success),
                                           static_cast<int>(failure));
    }

    bool compare_exchange_weak(T& expected, const T desired, const std::memory_order success,
                               const std::memory_order failure) noexcept {
        if (Schedule* const schedule = Schedule::getCurrent(); schedule != nullptr && schedule->failsForNoReason()) {
            expected = load(failure);
            return false;
        }
        return compare_exchange_strong(expected, desired, success, failure);
    }

private:
    static_assert(sizeof(T) <= sizeof(uint64_t));

    template<class Change>
    T modify(const Change& change, const std::memory_order order) noexcept {
        if (Schedule* const schedule = Schedule::getCurrent()) {
            schedule->step();
            schedule->modify(&m_value, toBits(peek()), toBits(change(peek())), order);
        }
        T old = peek();
        while (!__atomic_compare_exchange_n(&m_value, &old, change(old), true, static_cast<int>(order),
                                            __ATOMIC_RELAXED)) {
        }
        return old;
    }

    T peek() const noexcept { return __atomic_load_n(&m_value, __ATOMIC_RELAXED); }

    static uint64_t toBits(const T value) noexcept {
        uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof value);
        return bits;
    }

    static T fromBits(const uint64_t bits) noexcept {
        T value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    alignas(sizeof(T)) T m_value;
};

/// Reads each byte on its own: neighbours need not be of the same moment.
inline uint64_t loadEightBytes(const Atomic<uint8_t>* const first, const std::memory_order order) noexcept {
    uint64_t word = 0;
    for (size_t index = 0; index < sizeof word; ++index)
        word |= uint64_t(first[index].load(order)) << (8 * index);
    return word;
}

} // namespace melnar

#pragma once

#include "Engine/core/platform/system/Mutex.h"

#include <pthread.h>

namespace melnar {

/// A condition of all-zero storage, as Mutex.
///
/// Threads  Any threads. wait: by a thread that has locked the mutex.
class Condition {
public:
    constexpr Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;
    ~Condition() { ::pthread_cond_destroy(&m_condition); }

    /// Unlocks the mutex, waits for a signal, and locks it again. May return without a signal.
    void wait(Mutex& mutex) noexcept { ::pthread_cond_wait(&m_condition, &mutex.m_mutex); }

    void signal() noexcept { ::pthread_cond_signal(&m_condition); }
    void broadcast() noexcept { ::pthread_cond_broadcast(&m_condition); }

private:
    pthread_cond_t m_condition{};
};

} // namespace melnar

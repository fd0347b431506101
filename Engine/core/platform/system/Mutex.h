#pragma once

#include <pthread.h>

namespace melnar {

/// A mutex of all-zero storage, which is its static initialiser: making one calls nothing.
///
/// Threads  Any threads. The one that has locked it unlocks it.
class Mutex {
public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;
    ~Mutex() { ::pthread_mutex_destroy(&m_mutex); }

    void lock() noexcept { ::pthread_mutex_lock(&m_mutex); }
    void unlock() noexcept { ::pthread_mutex_unlock(&m_mutex); }

private:
    friend class Condition;

    pthread_mutex_t m_mutex{};
};

} // namespace melnar

#pragma once

#include "tests/schedules/Schedule.h"

namespace melnar {

/// Replaces the engine's Mutex: a thread that waits is not chosen until the mutex is free. Without a schedule there is
/// one thread, which never waits.
class Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() noexcept {
        if (Schedule* const schedule = Schedule::getCurrent())
            schedule->lock(m_state);
    }

    void unlock() noexcept {
        if (Schedule* const schedule = Schedule::getCurrent())
            schedule->unlock(m_state);
    }

private:
    friend class Condition;

    Schedule::MutexState m_state;
};

} // namespace melnar

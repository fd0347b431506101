#pragma once

#include "Engine/core/platform/system/Mutex.h"
#include "tests/schedules/Schedule.h"

namespace melnar {

/// Replaces the engine's Condition. The schedule chooses the thread that a signal wakes, and wakes threads without one
/// now and then. Used within schedules alone.
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void wait(Mutex& mutex) noexcept { Schedule::getCurrent()->wait(this, mutex.m_state); }

    void signal() noexcept {
        if (Schedule* const schedule = Schedule::getCurrent())
            schedule->signal(this);
    }

    void broadcast() noexcept {
        if (Schedule* const schedule = Schedule::getCurrent())
            schedule->broadcast(this);
    }
};

} // namespace melnar

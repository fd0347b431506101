#pragma once

#include "tests/schedules/Schedule.h"

namespace melnar {

/// Replaces the engine's spinPause: the thread is not chosen again until another thread has written something.
inline void spinPause() noexcept {
    if (Schedule* const schedule = Schedule::getCurrent())
        schedule->pause();
}

} // namespace melnar

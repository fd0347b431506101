#pragma once

#include <sched.h>

namespace melnar {

/// One step of a busy wait. It tells the processor that it waits, which saves power and leaves more of a shared core to
/// its other thread; and now and then it offers its core to another thread of the system, as the one that is waited for
/// may have none: with many more threads than cores, those that wait would else keep it from ending their wait.
inline void spinPause() noexcept {
    constexpr unsigned STEPS_PER_OFFER = 64;
    static constinit thread_local unsigned s_numberOfSteps = 0;
    if (++s_numberOfSteps % STEPS_PER_OFFER == 0) {
        ::sched_yield();
        return;
    }
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

} // namespace melnar

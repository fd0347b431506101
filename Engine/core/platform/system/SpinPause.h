#pragma once

#include <sched.h>

namespace melnar {

/// One step of a busy wait. It tells the processor that the thread waits, which saves power and leaves more of a shared
/// core to the other hardware thread. Every 64th step yields the core to another thread of the system. With many more
/// threads than cores, the thread that this one waits for may have no core, and busy waits would keep it from running.
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

#pragma once

/// Tells the processor that this is a busy wait: it saves power and leaves more of a shared core to its other thread.
inline void spinPause() noexcept {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

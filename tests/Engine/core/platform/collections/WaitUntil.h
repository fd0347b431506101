#pragma once

#include <thread>

/// Waits for what another thread is certain to do; should it never do it, the test program's time limit ends the wait.
template<class Condition>
void waitUntil(const Condition& condition) {
    while (!condition())
        std::this_thread::yield();
}

#pragma once

#include <thread>

/// Waits for something that another thread is certain to do. If it never does, the time limit of the test program ends
/// the wait.
template<class Condition>
void waitUntil(const Condition& condition) {
    while (!condition())
        std::this_thread::yield();
}

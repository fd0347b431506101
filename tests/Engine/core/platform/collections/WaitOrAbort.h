#pragma once

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

/// Waits for what an engine without faults does soon. A thread that hangs can be neither joined nor left behind: if the
/// condition does not hold within a time that only a hang takes, the program says what it waited for and aborts.
template<class Condition>
void waitOrAbort(const char* const awaited, const Condition& condition) {
    constexpr std::chrono::seconds PATIENCE(30);
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            std::cerr << "A thread hangs: waited in vain for " << awaited << ".\n";
            std::abort();
        }
        std::this_thread::yield();
    }
}

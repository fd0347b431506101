#pragma once

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

/// Waits for a condition that a correct engine fulfils soon. A thread that hangs can be neither joined nor abandoned:
/// if the condition does not hold within a time that only a hang takes, the program prints the condition and aborts.
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

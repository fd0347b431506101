#pragma once

#include <barrier>
#include <cstddef>
#include <thread>
#include <vector>

/// Runs `work(threadIndex)` in `numberOfThreads` threads, which start together, and waits for their ends.
template<class Work>
void runTogether(const size_t numberOfThreads, const Work& work) {
    std::barrier<> start(static_cast<ptrdiff_t>(numberOfThreads));
    std::vector<std::jthread> threads;
    for (size_t threadIndex = 0; threadIndex < numberOfThreads; ++threadIndex)
        threads.emplace_back([&start, &work, threadIndex] {
            start.arrive_and_wait();
            work(threadIndex);
        });
}

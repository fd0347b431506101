#pragma once

#include <barrier>
#include <cstddef>
#include <thread>
#include <variant>
#include <vector>

/// Runs `work(threadIndex)` in that many threads, all let go at once, and waits for their ends. Each thread holds a
/// ThreadScope, a registration, say, from before the start on.
template<class ThreadScope = std::monostate, class Work>
void runTogether(const size_t numberOfThreads, const Work& work) {
    std::barrier<> start(static_cast<ptrdiff_t>(numberOfThreads));
    std::vector<std::jthread> threads;
    for (size_t threadIndex = 0; threadIndex < numberOfThreads; ++threadIndex)
        threads.emplace_back([&start, &work, threadIndex] {
            [[maybe_unused]] const ThreadScope scope{};
            start.arrive_and_wait();
            work(threadIndex);
        });
}

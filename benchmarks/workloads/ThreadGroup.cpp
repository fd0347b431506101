#include "benchmarks/workloads/ThreadGroup.h"

#include <algorithm>
#include <barrier>
#include <chrono>
#include <exception>
#include <thread>
#include <vector>

double runShares(Peer& peer, const size_t numberOfThreads, const size_t numberOfItems,
                 const std::function<void(PeerThread&, Share)>& runShare) {
    using Clock = std::chrono::steady_clock;
    Clock::time_point start;
    std::barrier ready(static_cast<std::ptrdiff_t>(numberOfThreads), [&]() noexcept { start = Clock::now(); });
    std::vector<Clock::time_point> ends(numberOfThreads);
    std::vector<std::exception_ptr> exceptions(numberOfThreads);
    const auto run = [&](const size_t index) {
        const std::unique_ptr<PeerThread> peerThread = peer.makeThread();
        const Share share{numberOfItems * index / numberOfThreads, numberOfItems * (index + 1) / numberOfThreads};
        ready.arrive_and_wait();
        try {
            runShare(*peerThread, share);
        } catch (...) {
            exceptions[index] = std::current_exception();
        }
        ends[index] = Clock::now();
    };
    std::vector<std::jthread> threads;
    for (size_t index = 1; index < numberOfThreads; ++index)
        threads.emplace_back(run, index);
    run(0);
    threads.clear(); // waits
    Clock::time_point end = start;
    for (size_t index = 0; index < numberOfThreads; ++index) {
        if (exceptions[index])
            std::rethrow_exception(exceptions[index]);
        end = std::max(end, ends[index]);
    }
    return std::chrono::duration<double>(end - start).count();
}

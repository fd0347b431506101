#include "benchmarks/workloads/ThreadGroup.h"

#include "Engine/core/platform/system/SpinPause.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <thread>
#include <vector>

#include <sched.h>

using namespace melnar;

namespace {

using Clock = std::chrono::steady_clock;

/// Pins the calling thread to one of the cores that it may use: the scheduler may need longer to separate two threads
/// on one core than a small measurement takes.
void useCore(const size_t index) {
    cpu_set_t allowed;
    if (::sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return;
    size_t remaining = index % static_cast<size_t>(CPU_COUNT(&allowed));
    for (size_t core = 0; core < CPU_SETSIZE; ++core)
        if (CPU_ISSET(core, &allowed) && remaining-- == 0) {
            cpu_set_t chosen;
            CPU_ZERO(&chosen);
            CPU_SET(core, &chosen);
            ::sched_setaffinity(0, sizeof chosen, &chosen);
            return;
        }
}

} // namespace

double runShares(Peer& peer, const size_t numberOfThreads, const size_t numberOfItems,
                 const std::function<void(PeerThread&, Share)>& runShare) {
    std::atomic<size_t> numberOfReadyThreads{0};
    std::vector<Clock::time_point> starts(numberOfThreads);
    std::vector<Clock::time_point> ends(numberOfThreads);
    std::vector<std::exception_ptr> exceptions(numberOfThreads);
    const auto run = [&](const size_t index) {
        useCore(index);
        const std::unique_ptr<PeerThread> peerThread = peer.makeThread();
        const Share share{numberOfItems * index / numberOfThreads, numberOfItems * (index + 1) / numberOfThreads};
        numberOfReadyThreads.fetch_add(1, std::memory_order_acq_rel);
        while (numberOfReadyThreads.load(std::memory_order_acquire) < numberOfThreads)
            spinPause(); // a thread that sleeps here wakes up late
        starts[index] = Clock::now();
        try {
            runShare(*peerThread, share);
        } catch (...) {
            exceptions[index] = std::current_exception();
        }
        ends[index] = Clock::now();
    };
    std::vector<std::jthread> threads;
    for (size_t index = 0; index < numberOfThreads; ++index)
        threads.emplace_back(run, index);
    threads.clear(); // waits
    for (const std::exception_ptr& exception : exceptions)
        if (exception)
            std::rethrow_exception(exception);
    const Clock::duration time =
        *std::max_element(ends.begin(), ends.end()) - *std::min_element(starts.begin(), starts.end());
    return std::chrono::duration<double>(time).count();
}

#include "benchmarks/pages/PagePool.h"
#include "benchmarks/peers/Peer.h"
#include "benchmarks/program/BenchmarkProgram.h"
#include "benchmarks/stalls/LatencyHistogram.h"
#include "benchmarks/workloads/ThreadGroup.h"
#include "benchmarks/workloads/WorkloadData.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

// Measures how long single calls take while a map grows from 1,000 strings to all, in nanoseconds: p50, p99, p999,
// longest. A call resolves one string, or a whole group if the dictionary gets batches. With one thread, the longest
// call is the one that does the last rehash, alone.

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t INITIAL_SIZE = 1000;

/// Resolves the strings of a share and records how long each call took.
LatencyHistogram resolveAndNote(PeerThread& thread, const TextList& texts, const Share share, const size_t groupSize) {
    LatencyHistogram latencies;
    std::array<std::string_view, NUMBER_OF_TEXTS_IN_GROUP> group;
    std::array<uint64_t, NUMBER_OF_TEXTS_IN_GROUP> ids;
    Clock::time_point last = Clock::now();
    for (size_t begin = share.m_begin; begin < share.m_end; begin += groupSize) {
        const size_t number = std::min(groupSize, share.m_end - begin);
        for (size_t index = 0; index < number; ++index)
            group[index] = texts[begin + index];
        thread.resolve({group.data(), number}, {ids.data(), number});
        if (std::find(ids.begin(), ids.begin() + static_cast<std::ptrdiff_t>(number), 0) !=
            ids.begin() + static_cast<std::ptrdiff_t>(number))
            throw std::runtime_error("A string has got no ID.");
        const Clock::time_point now = Clock::now();
        latencies.add(static_cast<uint64_t>((now - last).count()));
        last = now;
    }
    return latencies;
}

LatencyHistogram grow(const PeerKind& kind, const TextList& texts, const size_t threads) {
    PagePool::get().reset();
    const std::unique_ptr<Peer> peer = kind.m_make();
    const size_t groupSize = kind.m_takesBatches ? NUMBER_OF_TEXTS_IN_GROUP : 1;
    const size_t initialSize = std::min(INITIAL_SIZE, texts.getSize());
    resolveAndNote(*peer->makeThread(), texts, {0, initialSize}, groupSize);
    LatencyHistogram latencies;
    std::mutex mutex;
    runShares(*peer, threads, texts.getSize() - initialSize, [&](PeerThread& thread, const Share share) {
        const LatencyHistogram ofThread =
            resolveAndNote(thread, texts, {initialSize + share.m_begin, initialSize + share.m_end}, groupSize);
        const std::lock_guard lock(mutex);
        latencies.add(ofThread);
    });
    return latencies;
}

} // namespace

int main(int argc, char** argv) {
    TextList texts;
    return runBenchmarkProgram(argc, argv, [&](const BenchmarkOptions& options) {
        texts = makeTexts(options.m_source, options.m_numberOfTexts);
        for (const size_t threads : options.m_numbersOfThreads)
            for (const PeerKind& kind : getPeerKinds())
                if (threads == 1 || kind.m_isConcurrent)
                    registerBenchmark(kind.m_name + "/threads:" + std::to_string(threads),
                                      [&texts, &kind, threads, isWarm = false](benchmark::State& state) mutable {
                                          if (!isWarm)
                                              grow(kind, texts, threads); // touches the pages
                                          isWarm = true;
                                          LatencyHistogram latencies;
                                          for (auto _ : state) {
                                              latencies = grow(kind, texts, threads);
                                              state.SetIterationTime(static_cast<double>(latencies.getLongest()) / 1e9);
                                          }
                                          const auto put = [&](const char* const name, const uint64_t latency) {
                                              state.counters[name] = static_cast<double>(latency);
                                          };
                                          put("p50", latencies.getQuantile(0.5));
                                          put("p99", latencies.getQuantile(0.99));
                                          put("p999", latencies.getQuantile(0.999));
                                          put("longest", latencies.getLongest());
                                      });
        return texts.getSize();
    });
}

#include "benchmarks/memory/ChildProcess.h"
#include "benchmarks/memory/ResidentMemory.h"
#include "benchmarks/peers/Peer.h"
#include "benchmarks/program/BenchmarkProgram.h"
#include "benchmarks/workloads/ThreadGroup.h"
#include "benchmarks/workloads/WorkloadData.h"

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// Builds each map in a separate process and reports the memory that it takes beyond its texts, in bytes per string:
//   beyond           according to the map: what it has allocated and not freed
//   beyond_resident  according to the system: physical memory
//   peak_resident    the maximum of physical memory while it was built, including texts

namespace {

enum : size_t { BEYOND, BEYOND_RESIDENT, PEAK_RESIDENT, NUMBER_OF_FIGURES };

/// Resolves all strings, which takes only memory of the map.
void build(Peer& peer, const TextList& texts, const size_t numberOfThreads) {
    runShares(peer, numberOfThreads, texts.getSize(), [&](PeerThread& thread, const Share share) {
        std::array<std::string_view, NUMBER_OF_TEXTS_IN_GROUP> group;
        std::array<uint64_t, NUMBER_OF_TEXTS_IN_GROUP> ids;
        for (size_t begin = share.m_begin; begin < share.m_end; begin += group.size()) {
            const size_t number = std::min(group.size(), share.m_end - begin);
            for (size_t index = 0; index < number; ++index)
                group[index] = texts[begin + index];
            thread.resolve({group.data(), number}, {ids.data(), number});
        }
    });
}

void measure(const PeerKind& kind, const TextList& texts, const size_t threads, const std::span<double> figures) {
    resetResidentPeak();
    const ResidentMemory before = readResidentMemory();
    const std::unique_ptr<Peer> peer = kind.m_make();
    build(*peer, texts, threads);
    const ResidentMemory after = readResidentMemory();
    const auto perText = [&](const size_t bytes) {
        return static_cast<double>(bytes) / static_cast<double>(texts.getSize());
    };
    const double text = perText(texts.getTextBytes());
    figures[BEYOND] = perText(peer->getBytesInUse()) - text;
    figures[BEYOND_RESIDENT] = perText(after.m_now - before.m_now) - text;
    figures[PEAK_RESIDENT] = perText(after.m_peak - before.m_now);
}

} // namespace

int main(int argc, char** argv) {
    TextList texts;
    return runBenchmarkProgram(argc, argv, [&](const BenchmarkOptions& options) {
        if (options.m_isWarm)
            throw std::runtime_error("Memory is measured with --cold: what was touched before is not counted.");
        texts = makeTexts(options.m_source, options.m_numberOfTexts);
        for (const size_t threads : options.m_numbersOfThreads)
            for (const PeerKind& kind : getPeerKinds())
                if (threads == 1 || kind.m_isConcurrent)
                    registerBenchmark(kind.m_name + "/threads:" + std::to_string(threads),
                                      [&texts, &kind, threads](benchmark::State& state) {
                                          std::array<double, NUMBER_OF_FIGURES> figures{};
                                          for (auto _ : state) {
                                              computeInChild(figures, [&](const std::span<double> results) {
                                                  measure(kind, texts, threads, results);
                                              });
                                              state.SetIterationTime(0);
                                          }
                                          state.counters["beyond"] = figures[BEYOND];
                                          state.counters["beyond_resident"] = figures[BEYOND_RESIDENT];
                                          state.counters["peak_resident"] = figures[PEAK_RESIDENT];
                                      });
        return texts.getSize();
    });
}

#include "benchmarks/data/RandomNumbers.h"
#include "benchmarks/peers/Peer.h"
#include "benchmarks/program/BenchmarkProgram.h"
#include "benchmarks/workloads/WorkloadData.h"
#include "benchmarks/workloads/WorkloadRun.h"
#include "tests/support/CollidingTexts.h"

#include <memory>
#include <string>
#include <vector>

// Resolves strings that were made to have the same home bucket in the dictionary, and as many ordinary ones of the same
// length, on one thread. Seconds: ordinary and colliding with an empty map, ordinary_again and colliding_again when all
// exist. ratio and ratio_again are colliding over ordinary. For the other maps, which use another hash function, both
// kinds are ordinary.

namespace {

TextList makeList(const std::vector<std::string>& texts) {
    TextList list;
    for (const std::string& text : texts)
        list.append(text);
    return list;
}

/// Makes random texts that are so long that no two are equal.
std::vector<std::string> makeOrdinaryTexts(const size_t number) {
    RandomNumbers randomNumbers(1);
    std::vector<std::string> texts(number, std::string(COLLIDING_TEXT_LENGTH, '\0'));
    for (std::string& text : texts)
        for (char& letter : text)
            letter = static_cast<char>('a' + randomNumbers.below(26));
    return texts;
}

struct Seconds {
    double m_first;
    double m_again;
};

Seconds resolveTwice(const WorkloadData& data, const PeerKind& kind) {
    WorkloadRun run(data, kind, 1);
    const double first = run.build();
    return {first, run.resolveAgain()};
}

} // namespace

int main(int argc, char** argv) {
    std::unique_ptr<WorkloadData> ordinary;
    std::unique_ptr<WorkloadData> colliding;
    return runBenchmarkProgram(argc, argv, [&](const BenchmarkOptions& options) {
        ordinary = std::make_unique<WorkloadData>(makeList(makeOrdinaryTexts(options.m_numberOfTexts)));
        colliding = std::make_unique<WorkloadData>(makeList(makeCollidingTexts(options.m_numberOfTexts)));
        for (const PeerKind& kind : getPeerKinds())
            registerBenchmark(kind.m_name + "/threads:1", [&, isWarm = false](benchmark::State& state) mutable {
                if (!isWarm)
                    resolveTwice(*ordinary, kind); // touches the pages
                isWarm = true;
                Seconds ordinarySeconds{};
                Seconds collidingSeconds{};
                for (auto _ : state) {
                    ordinarySeconds = resolveTwice(*ordinary, kind);
                    collidingSeconds = resolveTwice(*colliding, kind);
                    state.SetIterationTime(collidingSeconds.m_first);
                }
                state.counters["ordinary"] = ordinarySeconds.m_first;
                state.counters["ordinary_again"] = ordinarySeconds.m_again;
                state.counters["colliding"] = collidingSeconds.m_first;
                state.counters["colliding_again"] = collidingSeconds.m_again;
                state.counters["ratio"] = collidingSeconds.m_first / ordinarySeconds.m_first;
                state.counters["ratio_again"] = collidingSeconds.m_again / ordinarySeconds.m_again;
            });
        return options.m_numberOfTexts;
    });
}

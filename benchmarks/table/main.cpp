#include "benchmarks/peers/Peer.h"
#include "benchmarks/program/BenchmarkProgram.h"
#include "benchmarks/workloads/WorkloadData.h"
#include "benchmarks/workloads/WorkloadRun.h"

#include <algorithm>
#include <memory>
#include <string>

namespace {

/// Measures one kind of map; a repetition is one pass through the workloads. Small maps are built repeatedly until the
/// time is long enough for the clock.
class Measurement {
public:
    Measurement(const BenchmarkOptions& options, const WorkloadData& data, const PeerKind& kind, const size_t threads)
        : m_options(options), m_data(data), m_kind(kind), m_numberOfThreads(threads) {}

    void operator()(benchmark::State& state) {
        WorkloadRun run(m_data, m_kind, m_numberOfThreads);
        if (!m_isWarm)
            run.build(); // touches the pages
        m_isWarm = true;
        const size_t rounds = std::max<size_t>(1, m_options.m_textsPerMeasurement / m_data.m_texts.getSize());
        Seconds seconds;
        for (auto _ : state) {
            for (size_t round = 0; round < rounds; ++round)
                runOnce(run, seconds);
            state.SetIterationTime(seconds.m_build + seconds.m_again + seconds.m_drawn + seconds.m_absent +
                                   seconds.m_get);
        }
        report(state, rounds, seconds);
    }

private:
    struct Seconds {
        double m_build = 0;
        double m_again = 0;
        double m_drawn = 0;
        double m_absent = 0;
        double m_get = 0;
    };

    void runOnce(WorkloadRun& run, Seconds& seconds) const {
        seconds.m_build += run.build();
        if (m_options.has("re"))
            seconds.m_again += run.resolveAgain();
        if (m_options.has("miss"))
            seconds.m_absent += run.lookUpAbsent();
        if (m_options.has("get"))
            seconds.m_get += run.get();
        if (m_options.has("zipf"))
            seconds.m_drawn += run.buildFromDrawn();
    }

    /// Reports nanoseconds per operation and thread.
    void report(benchmark::State& state, const size_t rounds, const Seconds& seconds) const {
        const auto put = [&](const char* const name, const double time, const size_t numberOfTexts) {
            if (time != 0)
                state.counters[name] =
                    time * 1e9 * static_cast<double>(m_numberOfThreads) / static_cast<double>(rounds * numberOfTexts);
        };
        put("build", seconds.m_build, m_data.m_texts.getSize());
        put("re", seconds.m_again, m_data.m_texts.getSize());
        put("zipf", seconds.m_drawn, m_data.m_drawnTexts.getSize());
        put("miss", seconds.m_absent, m_data.m_texts.getSize());
        put("get", seconds.m_get, m_data.m_texts.getSize());
    }

    const BenchmarkOptions& m_options;
    const WorkloadData& m_data;
    const PeerKind& m_kind;
    const size_t m_numberOfThreads;
    bool m_isWarm = false;
};

} // namespace

int main(int argc, char** argv) {
    std::unique_ptr<WorkloadData> data;
    return runBenchmarkProgram(argc, argv, [&](const BenchmarkOptions& options) {
        data = std::make_unique<WorkloadData>(options);
        for (const size_t threads : options.m_numbersOfThreads)
            for (const PeerKind& kind : getPeerKinds())
                if (threads == 1 || kind.m_isConcurrent)
                    registerBenchmark(kind.m_name + "/threads:" + std::to_string(threads),
                                      [measurement = std::make_shared<Measurement>(options, *data, kind, threads)](
                                          benchmark::State& state) { (*measurement)(state); });
        return data->m_texts.getSize();
    });
}

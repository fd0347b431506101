#include "benchmarks/program/BenchmarkProgram.h"

#include "benchmarks/pages/HugePages.h"
#include "benchmarks/pages/PagePool.h"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>

namespace {

bool s_hasFailed = false;

} // namespace

void registerBenchmark(const std::string& name, std::function<void(benchmark::State&)> run) {
    const auto runSafely = [run = std::move(run)](benchmark::State& state) {
        try {
            run(state);
        } catch (const std::exception& exception) {
            s_hasFailed = true;
            state.SkipWithError(exception.what());
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), runSafely)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

int runBenchmarkProgram(int argc, char** argv,
                        const std::function<size_t(const BenchmarkOptions&)>& registerBenchmarks) {
    try {
        benchmark::Initialize(&argc, argv);
        const BenchmarkOptions options(argc, argv);
        PagePool::get().configure(options.m_isWarm, options.m_usesHugePages);
        const size_t numberOfTexts = registerBenchmarks(options);
        benchmark::AddCustomContext("strings", options.m_source);
        benchmark::AddCustomContext("n", std::to_string(numberOfTexts));
        benchmark::AddCustomContext("memory", options.m_isWarm ? "warm" : "cold");
        benchmark::AddCustomContext("pages", options.m_usesHugePages ? "huge" : "small");
        if (benchmark::RunSpecifiedBenchmarks() == 0)
            s_hasFailed = true;
        benchmark::Shutdown();
        const size_t hugePageBytes = getHugePageBytes();
        std::printf("At the end, %zu MiB lie in huge pages.\n", hugePageBytes >> 20);
        if (!options.m_usesHugePages && hugePageBytes != 0)
            throw std::runtime_error("There are huge pages where none were wanted.");
        return s_hasFailed ? 1 : 0;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", argv[0], exception.what());
        return 2;
    }
}

#pragma once

#include "benchmarks/program/BenchmarkOptions.h"

#include <benchmark/benchmark.h>
#include <cstddef>
#include <functional>
#include <string>

/// The main function of a benchmark program: reads the options, sets the page pool up, lets `registerBenchmarks`
/// register what is to be measured and tell how many strings there are, and runs it with Google Benchmark. Returns 0
/// only if nothing has failed.
int runBenchmarkProgram(int argc, char** argv,
                        const std::function<size_t(const BenchmarkOptions&)>& registerBenchmarks);

/// Registers something that is run once a repetition and tells its time itself. An exception fails the program, once
/// the other benchmarks have run.
void registerBenchmark(const std::string& name, std::function<void(benchmark::State&)> run);

#pragma once

#include "benchmarks/program/BenchmarkOptions.h"

#include <benchmark/benchmark.h>
#include <cstddef>
#include <functional>
#include <string>

/// The main function of a benchmark program: reads the options, configures the page pool, calls `registerBenchmarks`,
/// which registers the measurements and returns the number of strings, and runs them with Google Benchmark. Returns 0
/// only if nothing has failed.
int runBenchmarkProgram(int argc, char** argv,
                        const std::function<size_t(const BenchmarkOptions&)>& registerBenchmarks);

/// Registers a function that is run once per repetition and reports its time itself. An exception makes the program
/// fail after the other benchmarks have run.
void registerBenchmark(const std::string& name, std::function<void(benchmark::State&)> run);

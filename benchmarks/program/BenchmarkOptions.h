#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// The options of a benchmark program, in addition to those of Google Benchmark.
///
///   --strings=a|b|FILE        short strings, mixed ones (the default), or those of a file
///   --n=NUMBER                how many distinct ones (1000000)
///   --threads=NUMBER,...      with how many threads, one run after the other (1)
///   --workloads=NAME,...      which of build,re,zipf,miss,get; build always runs
///   --texts-per-measurement=NUMBER  repeats workloads with fewer strings until they have processed this many (1000000)
///   --cold                    memory from the system, touched for the first time
///   --small-pages             no huge pages for anything in this process
///   --folder=FOLDER           where files are written (.)
struct BenchmarkOptions {
    /// Throws std::runtime_error if an argument is none of these.
    BenchmarkOptions(int argc, const char* const* argv);

    bool has(const std::string& workload) const;

    std::string m_source = "b";
    size_t m_numberOfTexts = 1'000'000;
    std::vector<size_t> m_numbersOfThreads{1};
    std::vector<std::string> m_workloads{"build", "re", "zipf", "miss", "get"};
    size_t m_textsPerMeasurement = 1'000'000;
    std::string m_folder = ".";
    bool m_isWarm = true;
    bool m_usesHugePages = true;
};

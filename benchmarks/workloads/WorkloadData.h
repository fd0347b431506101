#pragma once

#include "benchmarks/data/TextList.h"
#include "benchmarks/program/BenchmarkOptions.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Returns distinct strings of a source: "a" means short strings, "b" mixed ones, and everything else a file, whose
/// strings are in random order, at most `number` of them.
TextList makeTexts(const std::string& source, size_t number);

/// The data of the workloads: strings in the order of their use, and the expected results. The same for everything that
/// is measured. Members that no workload of the options needs are empty.
struct WorkloadData {
    explicit WorkloadData(const BenchmarkOptions& options);

    /// Uses these strings, all different, for the workloads build, re and get.
    explicit WorkloadData(TextList texts);

    TextList m_texts;              // all different
    std::vector<uint32_t> m_order; // a permutation of their indices
    TextList m_textsInOrder;       // the same strings in that order
    TextList m_drawnTexts;         // twice as many strings, drawn with Zipf's distribution
    size_t m_numberOfDistinctDrawn = 0;
    TextList m_absentTexts;  // as many again, all different from those above
    uint64_t m_checksum = 0; // the sum over m_texts of what getChecksum returns
};

/// Returns a value that cannot be computed without reading the first and last byte of a string.
inline uint64_t getChecksum(const std::string_view text) noexcept {
    return text.empty() ? 0 : uint64_t(static_cast<uint8_t>(text.front())) * 251 + static_cast<uint8_t>(text.back());
}

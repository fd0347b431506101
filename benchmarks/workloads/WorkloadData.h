#pragma once

#include "benchmarks/data/TextList.h"
#include "benchmarks/program/BenchmarkOptions.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The strings of a source: "a" stands for short strings, "b" for mixed ones, and everything else for a file, of whose
/// strings there are as many as it has, up to `number`, in random order. All are different.
TextList makeTexts(const std::string& source, size_t number);

/// What the workloads are made of: strings in the order of their use, and what the answers must be. The same for
/// everybody under measurement. What no workload of the options needs is empty.
struct WorkloadData {
    explicit WorkloadData(const BenchmarkOptions& options);

    /// These strings, all different, for the workloads build, re and get.
    explicit WorkloadData(TextList texts);

    TextList m_texts;              // all different
    std::vector<uint32_t> m_order; // a permutation of their indices
    TextList m_textsInOrder;       // the same strings in that order
    TextList m_drawnTexts;         // twice as many strings, drawn with Zipf's distribution
    size_t m_numberOfDistinctDrawn = 0;
    TextList m_absentTexts;  // as many again, all different from those above
    uint64_t m_checksum = 0; // the sum over m_texts of what getChecksum returns
};

/// Something that cannot be told without reading a string's first and last byte.
inline uint64_t getChecksum(const std::string_view text) noexcept {
    return text.empty() ? 0 : uint64_t(static_cast<uint8_t>(text.front())) * 251 + static_cast<uint8_t>(text.back());
}

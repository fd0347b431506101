#pragma once

#include "benchmarks/data/TextList.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What the workloads are made of: strings in the order of their use, and what the answers must be. The same for
/// everybody under measurement.
struct WorkloadData {
    /// `source` is "a" for short strings, "b" for mixed ones, or the name of a file, of whose strings as many as it has
    /// are taken up to `number`.
    WorkloadData(const std::string& source, size_t number);

    TextList m_texts;                     // all different
    std::vector<uint32_t> m_order;        // a permutation of their indices
    TextList m_textsInOrder;              // the same strings in that order
    std::vector<uint32_t> m_drawnIndices; // twice as many indices, drawn with Zipf's distribution
    TextList m_drawnTexts;                // their strings
    size_t m_numberOfDistinctDrawn;
    TextList m_absentTexts; // as many again, all different from those above
    uint64_t m_checksum;    // the sum over m_texts of what getChecksum returns
};

/// Something that cannot be told without reading a string's first and last byte.
inline uint64_t getChecksum(const std::string_view text) noexcept {
    return text.empty() ? 0 : uint64_t(static_cast<uint8_t>(text.front())) * 251 + static_cast<uint8_t>(text.back());
}

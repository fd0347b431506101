#pragma once

#include <compare>
#include <cstdint>
#include <limits>

/// A moment of the dictionary's history: the first resource ID that is not committed. A lookup as of a commit point
/// sees exactly the resources below it. A later commit point compares greater.
struct DictionaryCommitPoint {
    /// Covers every resource, committed or not.
    static const DictionaryCommitPoint ALL;

    /// Compares by time: an earlier commit point is less.
    [[nodiscard]] auto operator<=>(const DictionaryCommitPoint&) const = default;

    uint64_t m_resourceID; ///< the first ID that is not committed
};

inline constexpr DictionaryCommitPoint DictionaryCommitPoint::ALL{std::numeric_limits<uint64_t>::max()};

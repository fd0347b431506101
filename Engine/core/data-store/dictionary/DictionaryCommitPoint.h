#pragma once

#include <cstdint>
#include <limits>

/// A moment of the dictionary's history: the first resource ID that is not committed. A lookup as of a commit point
/// sees exactly the resources below it.
struct DictionaryCommitPoint {
    uint64_t m_resourceID;
};

/// As of which every resource is seen, committed or not.
inline constexpr DictionaryCommitPoint BEHIND_ALL_RESOURCES{std::numeric_limits<uint64_t>::max()};

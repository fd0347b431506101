#pragma once

#include <cstdint>

/// A moment of the dictionary's history: the first resource ID that is not committed. A lookup as of a commit point
/// sees exactly the resources below it.
struct DictionaryCommitPoint {
    uint64_t m_resourceID;
};

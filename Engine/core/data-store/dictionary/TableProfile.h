#pragma once

#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <string>
#include <vector>

/// How entries are distributed in one hash table of a datatype.
struct MELNAR_EXPORT TableProfile {
    std::string m_name;
    size_t m_numberOfBuckets = 0;
    std::vector<size_t> m_usedBuckets;  // with an entry or a tombstone, in equal segments from the first bucket on
    std::vector<size_t> m_probeLengths; // element n counts the entries that a lookup finds in bucket n + 1 of its probe
};

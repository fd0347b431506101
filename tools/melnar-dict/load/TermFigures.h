#pragma once

#include "tools/melnar-dict/load/Figures.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <array>
#include <cstdint>

/// Numbers of distinct terms, by datatype ID.
using DistinctCounts = std::array<uint64_t, NUMBER_OF_DATATYPE_IDS>;

/// Returns the number of distinct terms of each kind, and how often terms other than string literals occur.
Figures figuresOfTerms(const StatementCounts& counts, const DistinctCounts& distinctCounts);

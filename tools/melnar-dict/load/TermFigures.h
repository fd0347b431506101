#pragma once

#include "tools/melnar-dict/load/Figures.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <array>
#include <cstdint>

/// Numbers of distinct terms, by datatype ID.
using DistinctCounts = std::array<uint64_t, NUMBER_OF_DATATYPE_IDS>;

/// How many distinct terms there are of each kind, and how often those occur that are no string literals.
Figures figuresOfTerms(const StatementCounts& counts, const DistinctCounts& distinctCounts);

#pragma once

#include "tools/melnar-dict/load/Figures.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// Numbers of distinct terms, by datatype ID.
using DistinctCounts = std::array<uint64_t, size_t(1) << 8>;

/// Whether a datatype is one of the string literals; other terms have the others.
constexpr bool isOfStrings(const uint8_t datatypeID) noexcept {
    return datatypeID == D_XSD_STRING || datatypeID == D_RDF_PLAIN_LITERAL;
}

/// How many distinct terms there are of each kind, and how often those occur that are no string literals.
Figures figuresOfTerms(const StatementCounts& counts, const DistinctCounts& distinctCounts);

#pragma once

#include "tools/melnar-dict/load/Lookup.h"
#include "tools/melnar-dict/load/TermFigures.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"

#include <cstdint>
#include <string>
#include <vector>

/// The figures of a load.
struct LoadReport {
    StatementCounts m_counts;
    DistinctCounts m_distinct{};  // terms in the dictionary
    uint64_t m_firstDocument = 1; // of the first file, which distinguishes its blank nodes from others
    uint64_t m_errors = 0;
    uint64_t m_textBytes = 0;      // of the distinct string literals: text, and '@' and tag
    uint64_t m_otherTextBytes = 0; // of the other distinct terms: their lexical forms
    uint64_t m_memoryBytes = 0;    // that the dictionary has committed
    double m_seconds = 0;

    uint64_t getNumberOfLiterals() const noexcept { return m_counts.m_strings + m_counts.m_plainLiterals; }
    uint64_t getNumberOfTerms() const noexcept { return getNumberOfLiterals() + m_counts.getNumberOfOtherTerms(); }
    double getLiteralsPerSecond() const noexcept;
    double getTermsPerSecond() const noexcept;

    /// Returns a table with one line per figure.
    std::string toText() const;

    /// Returns one JSON object, with the answers to lookups under "lookups" if there are any.
    std::string toJson(const std::vector<Lookup>& lookups) const;
};

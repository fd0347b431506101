#pragma once

#include <cstdint>

/// Counts of statements and terms. Duplicates count again.
struct StatementCounts {
    bool operator==(const StatementCounts&) const = default;

    uint64_t m_statements = 0;
    uint64_t m_strings = 0;       // objects that are literals without tag and datatype, or of xsd:string
    uint64_t m_plainLiterals = 0; // objects that are literals with a tag, or of rdf:PlainLiteral

    // All other subjects, predicates, objects and graphs.
    uint64_t m_iris = 0;
    uint64_t m_blankNodes = 0;
    uint64_t m_otherLiterals = 0;
    uint64_t m_directionalStrings = 0;
    uint64_t m_tripleTerms = 0;

    uint64_t getNumberOfOtherTerms() const noexcept {
        return m_iris + m_blankNodes + m_otherLiterals + m_directionalStrings + m_tripleTerms;
    }

    StatementCounts& operator+=(const StatementCounts& other) noexcept {
        m_statements += other.m_statements;
        m_strings += other.m_strings;
        m_plainLiterals += other.m_plainLiterals;
        m_iris += other.m_iris;
        m_blankNodes += other.m_blankNodes;
        m_otherLiterals += other.m_otherLiterals;
        m_directionalStrings += other.m_directionalStrings;
        m_tripleTerms += other.m_tripleTerms;
        return *this;
    }
};

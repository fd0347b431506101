#pragma once

#include <cstdint>

/// How much was read. A statement that stands twice counts twice.
struct StatementCounts {
    uint64_t m_statements = 0;
    uint64_t m_strings = 0;       // objects that are literals without tag and datatype, or of xsd:string
    uint64_t m_plainLiterals = 0; // objects that are literals with a tag, or of rdf:PlainLiteral
    uint64_t m_otherTerms = 0;    // every other subject, predicate, object and graph

    StatementCounts& operator+=(const StatementCounts& other) noexcept {
        m_statements += other.m_statements;
        m_strings += other.m_strings;
        m_plainLiterals += other.m_plainLiterals;
        m_otherTerms += other.m_otherTerms;
        return *this;
    }
};

#pragma once

#include "tools/melnar-dict/ParsedPiece.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

/// All that a parser has found, however it was cut into pieces.
struct ParserFindings {
    std::vector<std::tuple<uint64_t, uint8_t, std::string>> m_literals{}; // line, datatype ID, lexical form
    std::vector<std::tuple<uint64_t, std::string>> m_errors{};            // line, cause
    std::vector<uint64_t> m_counts{0, 0, 0, 0}; // statements, strings, plain ones, other terms

    bool operator==(const ParserFindings&) const = default;

    void add(const ParsedPiece& piece) {
        const LiteralBatch& batch = piece.m_literals;
        for (size_t index = 0; index < batch.getEntries().size(); ++index) {
            const BatchEntry& entry = batch.getEntries()[index];
            m_literals.emplace_back(batch.getLine(index), entry.m_datatypeID, entry.m_lexicalForm);
        }
        for (const LoadError& error : piece.m_errors)
            m_errors.emplace_back(error.m_line, error.m_cause);
        m_counts[0] += piece.m_counts.m_statements;
        m_counts[1] += piece.m_counts.m_strings;
        m_counts[2] += piece.m_counts.m_plainLiterals;
        m_counts[3] += piece.m_counts.m_otherTerms;
    }
};

/// For GoogleTest's messages.
inline void PrintTo(const ParserFindings& findings,
                    std::ostream* const output) { // NOLINT(readability-identifier-naming)
    *output << testing::PrintToString(findings.m_literals) << testing::PrintToString(findings.m_errors)
            << testing::PrintToString(findings.m_counts);
}

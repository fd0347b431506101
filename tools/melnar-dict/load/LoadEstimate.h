#pragma once

#include "tools/melnar-dict/load/DictionarySize.h"
#include "tools/melnar-dict/load/TermFigures.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"

#include <cstdint>
#include <optional>
#include <string>

/// What a load will probably come to, in figures.
struct LoadEstimate {
    uint64_t m_inputBytes = 0;   // of the files, unpacked
    uint64_t m_sampledBytes = 0; // of them that were read for their terms
    bool m_isWholeInput = true;  // whether it is about all of the input, and not only about what was read of a pipe
    StatementCounts m_counts;
    DistinctCounts m_distinct{};
    uint64_t m_textBytes = 0;      // of the distinct string literals: text, and '@' and tag
    uint64_t m_otherTextBytes = 0; // of the other distinct terms: their lexical forms
    DictionarySize m_size{};
    uint64_t m_rowBytes = 0; // of the file with a row of IDs for each statement; none if only strings are loaded
    std::optional<uint64_t> m_spillBytes;     // of a load of shards: of terms that are put aside, at most
    std::optional<uint64_t> m_temporaryBytes; // of such a load: on the disk at most beside file and rows
    double m_seconds = 0;

    /// A table with a line a figure.
    std::string toText() const;

    /// One JSON object.
    std::string toJson() const;
};

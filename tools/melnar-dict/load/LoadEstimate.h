#pragma once

#include "tools/melnar-dict/load/DictionarySize.h"

#include <cstdint>
#include <string>

/// What a load will probably come to, in figures.
struct LoadEstimate {
    uint64_t m_inputBytes = 0;   // of the files, unpacked
    uint64_t m_sampledBytes = 0; // of them that were read for their literals
    bool m_isWholeInput = true;  // whether it is about all of the input, and not only about what was read of a pipe
    uint64_t m_statements = 0;
    uint64_t m_literals = 0;
    uint64_t m_distinctStrings = 0;
    uint64_t m_distinctPlainLiterals = 0;
    uint64_t m_textBytes = 0;
    DictionarySize m_size{};
    double m_seconds = 0;

    /// A table with a line a figure.
    std::string toText() const;

    /// One JSON object.
    std::string toJson() const;
};

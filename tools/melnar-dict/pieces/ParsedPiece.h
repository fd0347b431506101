#pragma once

#include "tools/melnar-dict/pieces/FormBatch.h"
#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"

#include <cstdint>
#include <string>
#include <vector>

/// What was read from one piece of a file.
struct ParsedPiece {
    uint64_t m_sequence = 0; // counts the pieces of a file from 0
    // Line ends in this piece, when its lines are counted from 1; 0 when they are counted from the start of the file.
    uint64_t m_numberOfLineEnds = 0;
    FormBatch m_terms;
    StatementCounts m_counts;
    std::vector<InputError> m_errors; // in any order until the piece is resolved, then in that of the file
    bool m_hasUntoldError = false;    // there was no memory to tell of
    std::string m_rejected;           // what was skipped because of errors, in the order of the file, if it is kept
    // Whether something ends here that the pieces before have rejected: it gets a line end if it has none.
    bool m_endsRejectedLine = false;

    /// Makes the piece empty and keeps its memory.
    void clear(const uint64_t sequence) noexcept {
        m_sequence = sequence;
        m_numberOfLineEnds = 0;
        m_terms.clear();
        m_counts = {};
        m_errors.clear();
        m_hasUntoldError = false;
        m_rejected.clear();
        m_endsRejectedLine = false;
    }

    /// Performs an action; what it throws becomes the last error.
    template<class Action>
    void catchFrom(const Action& action) {
        try {
            action();
        } catch (...) {
            m_errors.push_back(inputErrorOfCurrentException());
        }
    }
};

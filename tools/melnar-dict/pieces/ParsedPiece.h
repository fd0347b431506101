#pragma once

#include "tools/melnar-dict/pieces/FormBatch.h"
#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/pieces/StatementCounts.h"

#include <cstdint>
#include <string>
#include <vector>

/// The parsed content of one block of a file.
struct ParsedPiece {
    uint64_t m_sequence = 0; // counts the pieces of a file from 0
    // Line ends in this piece, if its lines are counted from 1; 0 if they are counted from the start of the file.
    uint64_t m_numberOfLineEnds = 0;
    FormBatch m_terms;
    StatementCounts m_counts;
    std::vector<InputError> m_errors; // in any order until the piece is resolved, then in that of the file
    bool m_hasUntoldError = false;    // an error that there was no memory to record
    std::string m_rejected; // bytes that were skipped because of errors, in the order of the file, if they are kept
    // Whether rejected bytes of earlier pieces end here: they get a line end if they have none.
    bool m_endsRejectedLine = false;

    /// Empties the piece and keeps its memory.
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

    /// Performs an action; its exception becomes the last error.
    template<class Action>
    void catchFrom(const Action& action) {
        try {
            action();
        } catch (...) {
            m_errors.push_back(inputErrorOfCurrentException());
        }
    }
};

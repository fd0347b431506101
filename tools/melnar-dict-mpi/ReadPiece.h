#pragma once

#include "tools/melnar-dict-mpi/SliceFrontier.h"

#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/TermRows.h"

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <string>
#include <string_view>

/// A piece of a slice that a rank has read: the parsed content, and the rows of its statements.
///
/// Ownership  Owns its contents.
/// Threads    One at a time.
/// Errors     std::bad_alloc.
struct ReadPiece : private Unmovable {
    explicit ReadPiece(const size_t numberOfColumns) : m_rows(numberOfColumns) {}

    /// Empties the piece, and keeps its memory.
    void clear(const uint64_t slice) noexcept {
        m_place = {slice, false};
        m_parsed.clear(0);
        m_rows.clear();
    }

    /// Appends its bytes, or those of its summary, which has no terms and rows.
    void appendTo(std::string& bytes) const;
    void appendSummaryTo(std::string& bytes) const;

    /// Reads a piece from the text, and removes its bytes from it. The text must begin with the bytes of an appended
    /// piece.
    void take(std::string_view& bytes);
    void takeSummary(std::string_view& bytes);

    SliceFrontier::Piece m_place;
    ParsedPiece m_parsed;
    TermRows m_rows;
};

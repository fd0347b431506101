#pragma once

#include "Reader/ByteScan.h"
#include "Reader/Place.h"

#include <cstddef>

namespace Rdf {

/// Tells the line and column of places in a text, counting from the place asked for last: questions in the order of
/// the text count every byte once.
class PlaceCounter {
public:
    /// Says that the place reached is where this text begins, which is what follows in the input.
    void startText(const char* const begin) noexcept { m_textBegin = m_at = begin; }

    /// Starts a text at another place of an input.
    void startText(const char* const begin, const Place& place) noexcept {
        startText(begin);
        m_line = m_beginLine = place.m_line;
        m_column = m_beginColumn = place.m_column;
        m_beginOffset = place.m_offset;
    }

    /// Says that a line feed stands before here, and that no other follows the place reached.
    void startLine(const char* const begin) noexcept {
        m_at = begin;
        m_column = 1;
        ++m_line;
    }

    uint64_t getOffset(const char* const at) const noexcept {
        return m_beginOffset + static_cast<uint64_t>(at - m_textBegin);
    }

    /// Returns a place of the text. One before the place reached is counted from the start of the text.
    Place find(const char* const at) noexcept {
        if (at < m_at)
            restart();
        m_line += ByteScan::count<ByteScan::AnyOf<'\n'>>(m_at, at);
        const char* const line = findLine(m_at, at);
        m_column = (line == m_at ? m_column : 1) + ByteScan::count<ByteScan::CharacterStart>(line, at);
        m_at = at;
        return {m_line, m_column, getOffset(at)};
    }

    /// Ends the text here; the next one starts with what follows.
    void endText(const char* const end) noexcept {
        const Place place = find(end);
        m_beginLine = place.m_line;
        m_beginColumn = place.m_column;
        m_beginOffset = place.m_offset;
    }

private:
    /// Returns where the last line starts that starts after `begin` and not after `at`, or else `begin`.
    static const char* findLine(const char* const begin, const char* at) noexcept {
        while (at != begin && at[-1] != '\n')
            --at;
        return at;
    }

    void restart() noexcept {
        m_at = m_textBegin;
        m_line = m_beginLine;
        m_column = m_beginColumn;
    }

    const char* m_textBegin = nullptr;
    uint64_t m_beginLine = 1;
    uint64_t m_beginColumn = 1;
    uint64_t m_beginOffset = 0;
    const char* m_at = nullptr; // the place reached
    uint64_t m_line = 1;
    uint64_t m_column = 1;
};

} // namespace Rdf

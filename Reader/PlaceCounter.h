#pragma once

#include "Reader/ByteScan.h"
#include "Reader/Place.h"

#include <cstddef>

namespace Rdf {

/// Tells the line and column of places in a text, counting from the place asked for last: questions in the order of
/// the text count every byte once.
class PlaceCounter {
public:
    /// Says that the text before the place reached is followed by this one.
    void startText(const char* const begin) noexcept {
        m_textBegin = m_at = m_lineAt = begin;
        m_line = m_place.m_line;
        m_earlierAt = nullptr;
    }

    /// Starts a text at another place of an input.
    void startText(const char* const begin, const Place& place) noexcept {
        m_begin = m_place = place;
        startText(begin);
    }

    /// Says that a line feed or carriage return stands here, and that no other follows the place reached.
    void passLineEnd(const char* const lineEnd) noexcept {
        m_at = lineEnd + 1;
        m_place.m_column = 1;
        m_place.m_line += *lineEnd == '\n' ? 1u : 0u;
    }

    /// Returns the place where the text starts.
    const Place& getBegin() const noexcept { return m_begin; }
    uint64_t getOffset(const char* const at) const noexcept {
        return m_begin.m_offset + static_cast<uint64_t>(at - m_textBegin);
    }

    /// Returns a place of the text. One before the place reached is counted from the start of the text, unless it is
    /// asked for again.
    Place find(const char* const at) noexcept {
        if (at < m_at)
            return findEarlier(at);
        for (;;) {
            const char* const lineEnd = ByteScan::findLineEnd(m_at, at);
            if (lineEnd == at)
                break;
            passLineEnd(lineEnd);
        }
        m_place.m_column += ByteScan::count<ByteScan::CharacterStart>(m_at, at);
        m_place.m_offset = getOffset(at);
        m_at = at;
        return m_place;
    }

    /// Returns the line of a place of the text, counting from the place whose line was asked for last, back or forth.
    uint64_t findLine(const char* const at) noexcept {
        using LineFeed = ByteScan::AnyOf<'\n'>;
        m_line += at < m_lineAt ? -ByteScan::count<LineFeed>(at, m_lineAt) : ByteScan::count<LineFeed>(m_lineAt, at);
        m_lineAt = at;
        return m_line;
    }

    /// Returns the line reached.
    uint64_t getLine() const noexcept { return m_place.m_line; }

    /// Ends the text here; the next one starts with what follows.
    void endText(const char* const end) noexcept {
        const char* line = end;
        while (line > m_at && line[-1] != '\n' && line[-1] != '\r')
            --line;
        if (line > m_at) {
            m_place.m_line += ByteScan::count<ByteScan::AnyOf<'\n'>>(m_at, line);
            m_place.m_column = 1;
            m_at = line;
        }
        m_begin = m_place = find(end); // which may be before the place reached, when an error is still being skipped
    }

private:
    Place findEarlier(const char* const at) noexcept {
        if (at != m_earlierAt) {
            PlaceCounter counter;
            counter.startText(m_textBegin, m_begin);
            m_earlier = counter.find(at);
            m_earlierAt = at;
        }
        return m_earlier;
    }

    const char* m_textBegin = nullptr;
    Place m_begin;              // of the text
    const char* m_at = nullptr; // the place reached
    Place m_place;
    const char* m_lineAt = nullptr;    // the place whose line was asked for last
    uint64_t m_line = 1;               // of that place
    const char* m_earlierAt = nullptr; // the last place that was asked for out of order
    Place m_earlier;
};

} // namespace Rdf

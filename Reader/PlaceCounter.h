#pragma once

#include "Reader/ByteScan.h"
#include "Reader/Place.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Rdf {

/// Returns the line and column of positions in a text, counting from the last requested position: requests in the order
/// of the text count every byte once.
class PlaceCounter {
public:
    /// Continues with this text, which follows the text before the current position.
    void startText(const char* const begin) noexcept {
        m_textBegin = m_at = m_lineAt = begin;
        m_column = m_begin.m_column;
        m_line = m_begin.m_line;
        m_linesOfStrides.clear();
    }

    /// Starts a text at another place of an input.
    void startText(const char* const begin, const Place& place) noexcept {
        m_begin = place;
        startText(begin);
    }

    /// Records that a line feed or carriage return is here, and that there is no other after the current position.
    void passLineEnd(const char* const lineEnd) noexcept {
        m_at = m_lineAt = lineEnd + 1;
        m_column = 1;
        m_line += *lineEnd == '\n' ? 1u : 0u;
    }

    /// Returns the place where the text starts.
    const Place& getBegin() const noexcept { return m_begin; }
    uint64_t getOffset(const char* const at) const noexcept {
        return m_begin.m_offset + static_cast<uint64_t>(at - m_textBegin);
    }

    /// Returns a place of the text. The column of a position before the current one is counted from the start of its
    /// line.
    Place find(const char* const at) {
        const bool isEarlier = at < m_at;
        const char* const begin = isEarlier ? m_textBegin : m_at;
        const char* line = at;
        while (line != begin && line[-1] != '\n' && line[-1] != '\r')
            --line;
        const uint64_t column = (line != begin ? 1
                                 : isEarlier   ? m_begin.m_column
                                               : m_column) +
                                ByteScan::count<ByteScan::CharacterStart>(line, at);
        if (!isEarlier) {
            m_at = at;
            m_column = column;
        }
        return {findLine(at), column, getOffset(at)};
    }

    /// Returns the line of a position of the text: in the order of the text, or of an earlier position, any number of
    /// times. Throws std::bad_alloc.
    uint64_t findLine(const char* const at) {
        if (at < m_lineAt)
            return findEarlierLine(at);
        m_line += ByteScan::count<LineFeed>(m_lineAt, at);
        m_lineAt = at;
        return m_line;
    }

    /// Returns the line of the last position that was requested in the order of the text.
    uint64_t getLine() const noexcept { return m_line; }

    /// Ends the text here; the next one starts with the rest.
    void endText(const char* const end) { m_begin = find(end); }

private:
    using LineFeed = ByteScan::AnyOf<'\n'>;

    /// The maximum number of bytes that are counted to find an earlier line.
    static constexpr size_t STRIDE = 4096;

    uint64_t findEarlierLine(const char* const at) {
        const size_t stride = static_cast<size_t>(at - m_textBegin) / STRIDE;
        if (m_linesOfStrides.empty())
            m_linesOfStrides.push_back(m_begin.m_line);
        while (m_linesOfStrides.size() <= stride) {
            const char* const begin = m_textBegin + (m_linesOfStrides.size() - 1) * STRIDE;
            m_linesOfStrides.push_back(m_linesOfStrides.back() + ByteScan::count<LineFeed>(begin, begin + STRIDE));
        }
        return m_linesOfStrides[stride] + ByteScan::count<LineFeed>(m_textBegin + stride * STRIDE, at);
    }

    const char* m_textBegin = nullptr;
    Place m_begin;                          // of the text
    const char* m_at = nullptr;             // the current position
    uint64_t m_column = 1;                  // of it
    const char* m_lineAt = nullptr;         // the farthest position whose line was requested
    uint64_t m_line = 1;                    // of that
    std::vector<uint64_t> m_linesOfStrides; // in which they begin, as far as requested
};

} // namespace Rdf

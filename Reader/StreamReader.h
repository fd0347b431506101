#pragma once

#include "Reader/SyntaxReader.h"

#include <string>
#include <string_view>

namespace Rdf {

/// Reads an input that comes in pieces, cut anywhere. Keeps unfinished text: at most the statement that a piece cuts,
/// whose length the reader's options limit.
///
/// Ownership  The reader must outlive it, and is used through it until `finish`.
/// Threads    One at a time.
/// Errors     As the reader's; std::bad_alloc if a statement is too long for the memory.
class StreamReader {
public:
    /// Feeds a reader.
    explicit StreamReader(SyntaxReader& reader) : m_reader(reader) {}

    /// Takes the next bytes of the input. Copies the unfinished ones.
    void feed(const std::string_view piece) {
        if (m_text.empty()) {
            m_text = piece.substr(m_reader.read(piece, false));
            waitForMore();
        } else {
            m_text += piece;
            if (m_text.size() >= m_sizeToRead)
                read(false);
        }
    }

    /// Ends the input.
    void finish() { read(true); }

    /// Drops unfinished text.
    void clear() noexcept { m_text.clear(); }

    /// Returns whether all text has been read completely.
    bool isEmpty() const noexcept { return m_text.empty(); }

private:
    void read(const bool isLast) {
        m_text.erase(0, m_reader.read(m_text, isLast));
        waitForMore();
    }

    void waitForMore() noexcept {
        const size_t maximum = m_reader.getMaximumLength();
        const bool isDoubleTooLong = m_text.size() > maximum / 2 && m_text.size() <= maximum;
        m_sizeToRead = isDoubleTooLong ? maximum + 1 : 2 * m_text.size();
    }

    SyntaxReader& m_reader;
    std::string m_text;
    // A statement that was cut is read again only if there is twice as much of it, or enough to refuse its length.
    size_t m_sizeToRead = 0;
};

} // namespace Rdf

#pragma once

#include "Reader/TextWindow.h"

#include <cstddef>
#include <cstdint>

namespace Rdf {

/// Finds where to continue after an error in Turtle or TriG: after the next full stop that ends a statement, or at the
/// end of the graph with the error, or after a graph whose label or opening is wrong. It distinguishes strings, IRIs,
/// comments and names, since they may contain full stops, and does not validate them. A long string that does not end
/// within the maximum length is taken to end there.
///
/// Memory  None: it stores only its state, and looks at most three bytes ahead.
class StatementSkipper {
public:
    StatementSkipper(const TextWindow& window, const size_t maximumLength)
        : m_window(window), m_maximumLength(maximumLength) {}

    /// Starts at the faulty statement; the error is so many bytes later.
    void start(size_t distance, bool hasGraphs, bool isInGraph) noexcept;

    void stop() noexcept { m_isSkipping = false; }
    bool isSkipping() const noexcept { return m_isSkipping; }

    /// Returns the position up to which the text can be skipped. The rest, if any, must come again with more text.
    const char* skip(const char* at, const char* end, bool isLast);

private:
    enum class In : uint8_t { STATEMENT, COMMENT, NAME, IRI, STRING, LONG_STRING };

    const char* skipWithin(const char* at, const char* end, bool isLast);
    const char* skipToken(const char* at, const char* end, bool isPast);
    const char* skipName(const char* at, const char* end, bool isLast);
    const char* skipIri(const char* at, const char* end, bool isLast);
    const char* skipString(const char* at, const char* end, bool isLast);
    const char* skipLongString(const char* at, const char* end, bool isLast);

    const TextWindow& m_window;
    const size_t m_maximumLength;
    bool m_isSkipping = false;
    bool m_hasGraphs = false;
    bool m_isInGraph = false;
    In m_in = In::STATEMENT;
    char m_quote = 0;
    size_t m_stringLength = 0; // of the long string so far
    size_t m_distance = 0;
    size_t m_depth = 0; // of open braces
};

} // namespace Rdf

#pragma once

#include <array>
#include <cstddef>

namespace Rdf {

/// Finds where to go on after an error in Turtle or TriG: after the next full stop that ends a statement, or where the
/// graph ends that the error is in, or after a graph whose label or opening is wrong. It tells strings, IRIs, comments
/// and names apart, since they may have full stops in them, and judges none of them.
class StatementSkipper {
public:
    /// Starts at the faulty statement; the error stands so many bytes later.
    void start(size_t distance, bool hasGraphs, bool isInGraph) noexcept;

    bool isSkipping() const noexcept { return m_isSkipping; }

    /// Returns how far the text can be skipped. The rest, if any, is to come again with more text.
    const char* skip(const char* at, const char* end, bool isLast);

private:
    const char* skipToken(const char* at, const char* end, bool isLast);
    const char* skipString(const char* at, const char* end, bool isLast);

    bool m_isSkipping = false;
    bool m_hasGraphs = false;
    bool m_isInGraph = false;
    size_t m_distance = 0;
    size_t m_depth = 0;                      // of braces that were opened
    std::array<bool, 2> m_isKnownUnclosed{}; // whether no long string with ' or " ends any more
};

} // namespace Rdf

#include "tools/melnar-dict/LineShape.h"

#include "tools/melnar-dict/Escapes.h"
#include "tools/melnar-dict/Keyword.h"
#include "tools/melnar-dict/NameCharacters.h"

#include <algorithm>
#include <cstring>

namespace {

/// Goes over one line term by term. The first operation that fails leaves its cause; later ones are not called.
class LineScanner {
public:
    explicit LineScanner(const std::string_view line) noexcept
        : m_current(line.data()), m_end(line.data() + line.size()) {}

    LineShape scan(const bool graphsAllowed) noexcept {
        skipBlanks();
        if (isAtEndOrComment())
            return {LineShape::Kind::BLANK, nullptr, nullptr, m_current};
        if (readSubject() && readPredicate() && readObject() && (!graphsAllowed || readGraph()) && readFullStop())
            return {LineShape::Kind::STATEMENT, nullptr, m_gap, m_current, m_keyword};
        return {LineShape::Kind::FAULTY, m_cause, nullptr, nullptr};
    }

private:
    bool readSubject() noexcept {
        if (isAt('<'))
            return readIri();
        const char* const blankNode = m_current;
        if (!readLabel("expected a subject: an IRI or a blank node"))
            return false;
        if (isAt('.'))
            return fail("a subject ends with '.'");
        const std::string_view label(blankNode + 2, m_current);
        if (isKeyword(label, "base") || isKeyword(label, "prefix") || isKeyword(label, "graph"))
            m_keyword = label.data();
        return true;
    }

    bool readPredicate() noexcept {
        skipBlanks();
        return isAt('<') ? readIri() : fail("expected a predicate: an IRI");
    }

    bool readObject() noexcept {
        skipBlanks();
        if (isAt('"'))
            return readLiteral();
        return isAt('<') ? readIri() : readLabel("expected an object: an IRI, a blank node or a literal");
    }

    bool readGraph() noexcept {
        skipBlanks();
        if (isAt('<'))
            return readIri();
        if (!isAt('_'))
            return true;
        const bool isLabel = readLabel("");
        if (isLabel && isAt('.'))
            m_gap = m_current; // the parser takes the full stop as part of a graph's label
        return isLabel;
    }

    bool readFullStop() noexcept {
        skipBlanks();
        if (!isAt('.'))
            return fail("expected '.' behind the statement");
        ++m_current;
        skipBlanks();
        return isAtEndOrComment() || fail("expected the end of the line behind the statement");
    }

    bool readIri() noexcept {
        const auto* const close = static_cast<const char*>(std::memchr(m_current, '>', remaining()));
        if (close == nullptr)
            return fail("an IRI lacks its '>'");
        m_cause = findFaultInIri({m_current + 1, close});
        m_current = close + 1;
        return m_cause == nullptr;
    }

    bool readLabel(const char* const causeOtherwise) noexcept {
        if (remaining() < 2 || m_current[0] != '_' || m_current[1] != ':')
            return fail(isAt('_') ? "a blank node lacks its ':'" : causeOtherwise);
        const char* const label = m_current + 2;
        m_current = label;
        while (m_current != m_end && isNameByte(*m_current))
            ++m_current;
        while (m_current != label && m_current[-1] == '.')
            --m_current;
        return (m_current != label && startsBlankNodeLabel(label)) || fail("a blank node has no label or a wrong one");
    }

    bool readLiteral() noexcept {
        const char* const text = m_current + 1;
        do {
            ++m_current;
            m_current = static_cast<const char*>(std::memchr(m_current, '"', remaining()));
            if (m_current == nullptr)
                return fail("a string lacks its closing quote");
        } while (isEscaped(text, m_current));
        m_cause = findFaultInString({text, m_current});
        ++m_current;
        return m_cause == nullptr && readLiteralSuffix();
    }

    bool readLiteralSuffix() noexcept {
        if (isAt('@'))
            return readTag();
        if (isAt('^')) {
            if (remaining() < 3 || m_current[1] != '^' || m_current[2] != '<')
                return fail("expected a datatype: '^^' and an IRI");
            m_current += 2;
            return readIri();
        }
        return true;
    }

    /// Only where the letters of a tag end is judged: the parser reads that far, hands the statement out, and then
    /// takes offence at a digit.
    bool readTag() noexcept {
        const auto isOf = [](const CharacterMap& map, const char byte) { return map[static_cast<uint8_t>(byte)] != 0; };
        const char* const tag = m_current + 1;
        m_current = std::find_if_not(tag, m_end, [&](const char byte) { return isOf(CHARMAP_ALPHABETIC, byte); });
        if (m_current != tag && m_current != m_end && isOf(CHARMAP_ALPHANUMERIC, *m_current))
            return fail("a language tag does not start with letters alone");
        m_current = std::find_if_not(m_current, m_end,
                                     [&](const char byte) { return byte == '-' || isOf(CHARMAP_ALPHANUMERIC, byte); });
        return true;
    }

    /// Whether an odd number of backslashes stands before the quote.
    static bool isEscaped(const char* const text, const char* quote) noexcept {
        bool escaped = false;
        while (quote != text && quote[-1] == '\\') {
            escaped = !escaped;
            --quote;
        }
        return escaped;
    }

    bool isAt(const char character) const noexcept { return m_current != m_end && *m_current == character; }
    bool isAtEndOrComment() const noexcept { return m_current == m_end || *m_current == '#'; }
    size_t remaining() const noexcept { return static_cast<size_t>(m_end - m_current); }

    void skipBlanks() noexcept {
        while (m_current != m_end && (*m_current == ' ' || *m_current == '\t'))
            ++m_current;
    }

    bool fail(const char* const cause) noexcept {
        m_cause = cause;
        return false;
    }

    const char* m_current;
    const char* const m_end;
    const char* m_cause = nullptr;
    const char* m_gap = nullptr;
    const char* m_keyword = nullptr;
};

} // namespace

LineShape shapeOfLine(const std::string_view line, const bool graphsAllowed) noexcept {
    return LineScanner(line).scan(graphsAllowed);
}

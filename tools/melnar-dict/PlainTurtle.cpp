#include "tools/melnar-dict/PlainTurtle.h"

#include "tools/melnar-dict/NameCharacters.h"
#include "tools/melnar-dict/TurtleFilter.h"

#include "Engine/core/platform/CharacterMaps.h"

#include <algorithm>
#include <string_view>

namespace {

bool isLetter(const char byte) noexcept {
    return CHARMAP_ALPHABETIC[static_cast<uint8_t>(byte)] != 0;
}

bool isDigit(const char byte) noexcept {
    return byte >= '0' && byte <= '9';
}

bool isOfName(const char byte) noexcept {
    return CHARMAP_PLAIN_NAME[static_cast<uint8_t>(byte)] != 0;
}

} // namespace

const char* PlainTurtle::read(const char* const begin, const char* const end, const uint64_t line) {
    start(begin, end);
    m_line = line;
    m_numberOfTriples = 0;
    m_literals.clear();
    skipSpace();
    return m_current == m_end || readStatement() ? m_current : nullptr;
}

bool PlainTurtle::readStatement() {
    if (!readSubject())
        return false;
    do {
        skipSpace();
        if (!readPredicates())
            return false;
        if (take('.'))
            return true;
        if (!take(';'))
            return false;
        do
            skipSpace();
        while (take(';'));
    } while (!take('.'));
    return true;
}

/// Reads a predicate, its objects and the space behind them.
bool PlainTurtle::readPredicates() {
    if (!readPredicate())
        return false;
    do {
        skipSpace();
        if (!readObject())
            return false;
        ++m_numberOfTriples;
        skipSpace();
    } while (take(','));
    return true;
}

bool PlainTurtle::readSubject() {
    if (isAt('<'))
        return readIri(m_ignored);
    return (isAt('_') ? readLabel(m_ignored) : readName(m_ignored)) && isAtSpace();
}

bool PlainTurtle::readPredicate() {
    if (isAt('<'))
        return readIri(m_ignored);
    if (m_end - m_current > 1 && m_current[0] == 'a' && m_current[1] != ':' && !isOfName(m_current[1])) {
        ++m_current;
        return isAtSpace();
    }
    return readName(m_ignored) && isAtSpace();
}

bool PlainTurtle::readObject() {
    if (m_current == m_end)
        return false;
    const char first = *m_current;
    if (first == '"')
        return readLiteral();
    if (first == '<')
        return readIri(m_ignored);
    if (first == '_')
        return readLabel(m_ignored) && isAtEndOfObject();
    return (first == '+' || first == '-' || isDigit(first) ? readNumber() : readNameOrBoolean()) && isAtEndOfObject();
}

bool PlainTurtle::readLiteral() {
    Literal literal{SERD_NODE_NULL, SERD_NODE_NULL, SERD_NODE_NULL, m_line};
    const bool isLong = std::string_view(m_current, m_end).starts_with("\"\"\"");
    if (isLong ? !readLongString(literal.m_text, m_line) : !readString(literal.m_text))
        return false;
    if (isAt('@')) {
        if (!readTag(literal.m_tag) || (!isAtEndOfObject() && !isAt('.')))
            return false;
    } else if (isAt('^')) {
        if (m_end - m_current < 2 || m_current[1] != '^')
            return false;
        m_current += 2;
        if (isAt('<') ? !readAbsoluteIri(literal.m_datatype) : !readName(literal.m_datatype) || !isAtEndOfObject())
            return false;
    }
    m_literals.push_back(literal);
    return true;
}

bool PlainTurtle::readNumber() noexcept {
    if (isAt('+') || isAt('-'))
        ++m_current;
    if (!skipDigits())
        return false;
    if (!isAt('.'))
        return true;
    ++m_current;
    return skipDigits();
}

bool PlainTurtle::readNameOrBoolean() {
    const char* const wordEnd = std::find_if_not(m_current, m_end, isLetter);
    const std::string_view word(m_current, wordEnd);
    if ((word != "true" && word != "false") || (wordEnd != m_end && (*wordEnd == ':' || isOfName(*wordEnd))))
        return readName(m_ignored);
    m_current = wordEnd;
    return true;
}

bool PlainTurtle::readName(SerdNode& node) {
    const char* const name = m_current;
    if (m_current != m_end && isLetter(*m_current))
        m_current = std::find_if_not(m_current, m_end, isOfName);
    const std::string_view prefix(name, m_current);
    if (!isAt(':') || !m_filter.isDeclared(prefix) || TurtleFilter::looksLikeBoolean(prefix))
        return false;
    ++m_current;
    if (m_current == m_end || !isOfName(*m_current) || *m_current == '-')
        return false;
    m_current = std::find_if_not(m_current, m_end, isOfName);
    node.buf = reinterpret_cast<const uint8_t*>(name);
    node.n_bytes = static_cast<size_t>(m_current - name);
    node.type = SERD_CURIE;
    return true;
}

bool PlainTurtle::skipDigits() noexcept {
    const char* const digits = m_current;
    m_current = std::find_if_not(m_current, m_end, isDigit);
    return m_current != digits;
}

void PlainTurtle::skipSpace() noexcept {
    for (; m_current != m_end; ++m_current)
        if (*m_current == '\n')
            ++m_line;
        else if (*m_current == '#') {
            m_current = std::find_if(m_current, m_end, [](const char byte) { return byte == '\n' || byte == '\r'; });
            if (m_current == m_end)
                return;
            m_line += *m_current == '\n' ? 1 : 0;
        } else if (*m_current != ' ' && *m_current != '\t' && *m_current != '\r')
            return;
}

bool PlainTurtle::take(const char punctuation) noexcept {
    const bool isThere = isAt(punctuation);
    m_current += isThere ? 1 : 0;
    return isThere;
}

bool PlainTurtle::isAtSpace() const noexcept {
    return isAt(' ') || isAt('\t') || isAt('\n') || isAt('\r');
}

bool PlainTurtle::isAtEndOfObject() const noexcept {
    return isAtSpace() || isAt(',') || isAt(';');
}

#include "Reader/LineReader.h"

#include <algorithm>

namespace Rdf {

namespace {

using LineTerms::isLineEnd;
using LineTerms::readIri;
using LineTerms::readSubject;
using LineTerms::skipBlanks;

/// Returns the end of the last whole line; `begin` if there is none.
const char* findEndOfLines(const char* const begin, const char* end) noexcept {
    while (end != begin && !isLineEnd(end[-1]))
        --end;
    return end;
}

} // namespace

const char* LineReader::readText(const char* const begin, const char* const end, const bool isLast) {
    const char* at = skipLongLine(begin, end, isLast);
    if (m_isInLongLine)
        return at;
    const char* const endOfLines = isLast ? end : findEndOfLines(at, end);
    at = readLines(at, endOfLines);
    if (m_isStopped || static_cast<size_t>(end - at) <= m_options.m_maximumLength)
        return at;
    // The line continues, and is too long already.
    m_window.failLength(at, "line", m_options.m_maximumLength);
    m_error = takeFailure(at);
    if (!m_options.m_isLenient)
        report(m_error, at);
    m_isInLongLine = m_options.m_isLenient;
    passSkipped(at, end);
    return end;
}

/// Continues to skip a line, if one is being skipped; its error is reported at its end.
const char* LineReader::skipLongLine(const char* const at, const char* const end, const bool isLast) {
    if (!m_isInLongLine)
        return at;
    const char* const lineEnd = ByteScan::findLineEnd(at, end);
    m_bytesExamined += static_cast<uint64_t>(lineEnd - at);
    passSkipped(at, lineEnd);
    if (lineEnd == end && !isLast)
        return end;
    m_isInLongLine = false;
    report(m_error, lineEnd);
    return lineEnd; // the rest of the line is blank
}

/// Reads whole lines; the last one of the input may lack its end.
const char* LineReader::readLines(const char* const begin, const char* const end) {
    openWindow(begin, end, true);
    const char* line = begin;
    while (line != end) {
        const char* lineEnd = readLine(line);
        if (lineEnd == nullptr) [[unlikely]] {
            lineEnd = skipLine(line, end);
            if (m_isStopped)
                return lineEnd;
        } else {
            m_bytesExamined += static_cast<uint64_t>(lineEnd - line);
        }
        if (lineEnd == end)
            return end;
        line = lineEnd + 1;
        m_places.passLineEnd(lineEnd);
    }
    return end;
}

/// Reads a line; returns its end, the position of the line feed.
const char* LineReader::readLine(const char* const line) {
    const char* const end = m_window.getEnd();
    const char* at = skipBlanks(line, end);
    const int byte = m_window.peek(at);
    if (byte == '\n' || byte == '\r')
        return checkLength(line, at);
    if (byte != '#' && byte != TextWindow::END) [[likely]] {
        m_window.getArena().clear();
        if (byte == 'V' && m_window.isVersion12())
            return checkLength(line, readVersion(at));
        at = readStatement(at);
        if (at == nullptr)
            return nullptr;
        at = checkLength(line, readEndOfLine(at, "the end of the line after the statement"));
        if (at != nullptr)
            m_sink->takeStatement(m_statement);
        return at;
    }
    return checkLength(line, readEndOfLine(at, "a statement"));
}

/// Returns the end of the line, or null if the line is too long or `lineEnd` is null.
const char* LineReader::checkLength(const char* const line, const char* const lineEnd) {
    if (lineEnd == nullptr || static_cast<size_t>(lineEnd - line) <= m_options.m_maximumLength) [[likely]]
        return lineEnd;
    return m_window.failLength(line, "line", m_options.m_maximumLength);
}

const char* LineReader::readStatement(const char* at) {
    const char* const end = m_window.getEnd();
    if ((at = readSubject(m_window, at, m_statement.m_subject, "a subject")) == nullptr ||
        (at = readIri(m_window, skipBlanks(at, end), m_statement.m_predicate, "a predicate")) == nullptr ||
        (at = LineTerms::readObject(m_window, skipBlanks(at, end), m_statement.m_object, m_triples, "an object")) ==
            nullptr)
        return nullptr;
    at = skipBlanks(at, end);
    m_statement.m_graph.m_kind = TermKind::NONE;
    const bool hasGraph = hasGraphs(m_options.m_syntax);
    if (hasGraph && (m_window.is(at, '<') || m_window.is(at, '_'))) {
        if ((at = readSubject(m_window, at, m_statement.m_graph, "a graph")) == nullptr)
            return nullptr;
        at = skipBlanks(at, end);
    }
    if (!m_window.is(at, '.'))
        return m_window.failExpected(at, hasGraph && m_statement.m_graph.m_kind == TermKind::NONE ? "a graph or '.'"
                                                                                                  : "'.'");
    return at + 1;
}

const char* LineReader::readVersion(const char* const at) {
    Name keyword;
    const char* string = readName(m_window, at, keyword);
    if (string == nullptr || keyword.m_isPrefixed || keyword.m_prefix != "VERSION")
        return m_window.failExpected(at, "a subject");
    string = skipBlanks(string, m_window.getEnd());
    std::string_view version;
    if (!m_window.is(string, '"'))
        return m_window.failExpected(string, "a version in quotes");
    string = readShortString(m_window, string, version);
    return string == nullptr ? nullptr : readEndOfLine(string, "the end of the line after the version");
}

/// Skips blanks and a comment up to the end of the line.
const char* LineReader::readEndOfLine(const char* at, const char* const expected) {
    const char* const end = m_window.getEnd();
    at = skipBlanks(at, end);
    if (at != end && *at == '#')
        at = ByteScan::findLineEnd(at, end);
    if (m_window.isInvalidHere(at) || (at != end && !isLineEnd(*at)))
        return m_window.failExpected(at, expected);
    return at;
}

/// Reports the error of a line; returns its end.
const char* LineReader::skipLine(const char* const line, const char* const end) {
    const char* const invalid = m_window.getEnd();
    const char* const lineEnd = ByteScan::findLineEnd(std::max(line, m_window.getFailurePlace()), end);
    static_cast<void>(checkLength(line, lineEnd)); // A line that is too long has no other error.
    SyntaxError error = takeFailure(line);
    m_bytesExamined += static_cast<uint64_t>(lineEnd - line);
    passSkipped(line, lineEnd);
    report(error, lineEnd);
    if (invalid < lineEnd)
        openWindow(lineEnd, end, true);
    return lineEnd;
}

} // namespace Rdf

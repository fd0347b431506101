#include "tools/melnar-dict/PlainLine.h"

const char* PlainLine::read(const char* const begin, const char* const textEnd) noexcept {
    start(begin, textEnd);
    m_statement.m_graph = m_statement.m_datatype = m_statement.m_language = nullptr;
    skipBlanks();
    if (!readSubject())
        return nullptr;
    skipBlanks();
    if (!readAbsoluteIri(m_predicate))
        return nullptr;
    skipBlanks();
    if (!readObject())
        return nullptr;
    skipBlanks();
    if (m_graphsAllowed && !isAt('.')) {
        if (!readGraph())
            return nullptr;
        skipBlanks();
    }
    if (!isAt('.'))
        return nullptr;
    ++m_current;
    skipBlanks();
    return m_current == m_end || *m_current == '\n' || *m_current == '\r' ? m_current : nullptr;
}

bool PlainLine::readSubject() noexcept {
    return isAt('<') ? readAbsoluteIri(m_subject) : readLabelAndBlank(m_subject);
}

bool PlainLine::readObject() noexcept {
    if (isAt('"'))
        return readLiteral();
    return isAt('<') ? readAbsoluteIri(m_object) : readLabelAndBlank(m_object);
}

bool PlainLine::readGraph() noexcept {
    m_statement.m_graph = &m_graph;
    return isAt('<') ? readAbsoluteIri(m_graph) : readLabelAndBlank(m_graph);
}

bool PlainLine::readLabelAndBlank(SerdNode& node) noexcept {
    return readLabel(node) && (isAt(' ') || isAt('\t'));
}

bool PlainLine::readLiteral() noexcept {
    if (!readString(m_object))
        return false;
    if (isAt('@')) {
        m_statement.m_language = &m_tag;
        return readTag(m_tag) && (isAt(' ') || isAt('\t') || isAt('.'));
    }
    if (!isAt('^'))
        return true;
    if (m_end - m_current < 2 || m_current[1] != '^')
        return false;
    m_current += 2;
    m_statement.m_datatype = &m_datatype;
    return readAbsoluteIri(m_datatype);
}

void PlainLine::skipBlanks() noexcept {
    while (isAt(' ') || isAt('\t'))
        ++m_current;
}

#include "Reader/TurtleReader.h"

#include "Reader/QuotedString.h"

#include <algorithm>

namespace Rdf {

namespace {

bool equalsIgnoringCase(const std::string_view word, const std::string_view upperCase) noexcept {
    return std::equal(word.begin(), word.end(), upperCase.begin(), upperCase.end(),
                      [](const char left, const char right) { return left == right || (left & ~0x20) == right; });
}

} // namespace

TurtleReader::TurtleReader(const ReaderOptions& options, StatementSink& sink)
    : SyntaxReader(options, sink), m_context(options.m_base), m_terms(m_window, m_context),
      m_triples(m_options, m_window, m_terms) {}

const char* TurtleReader::readText(const char* const begin, const char* const end, const bool isLast) {
    const char* at = finishSkipping(begin, end, isLast);
    if (m_skipper.isSkipping() || m_isStopped)
        return at;
    openWindow(at, end, isLast);
    for (;;) {
        const char* const unit = m_terms.skipSpace(at);
        if (unit == end || m_window.isIncomplete())
            break;
        m_window.getArena().clear();
        m_graph.m_begin = unit;
        const uint64_t numberOfBlankNodes = m_context.m_numberOfBlankNodes;
        at = readUnit(unit);
        if (m_window.isIncomplete()) {
            m_context.m_numberOfBlankNodes = numberOfBlankNodes;
            return unit;
        }
        if (at != nullptr) {
            m_bytesExamined += static_cast<uint64_t>(at - unit);
            continue;
        }
        m_bytesExamined += static_cast<uint64_t>(std::max(m_window.getFailureEnd(), unit) - unit);
        m_error = takeFailure(unit);
        m_skipper.start(static_cast<size_t>(m_window.getFailurePlace() - unit), hasGraphs(m_options.m_syntax),
                        m_isInGraph);
        at = finishSkipping(unit, end, isLast);
        if (m_skipper.isSkipping() || m_isStopped)
            return at;
        openWindow(at, end, isLast);
    }
    if (isLast && m_isInGraph)
        reportOpenGraph(end);
    return isLast ? end : at;
}

/// Reads a statement, a directive, or what opens or closes a graph.
const char* TurtleReader::readUnit(const char* const at) {
    const int byte = m_window.peek(at);
    if (m_isInGraph) {
        if (byte != '}')
            return readTriples(at);
        m_isInGraph = false;
        return at + 1;
    }
    if (byte == '@')
        return readDirective(at);
    if (byte == '{' && m_options.m_syntax == Syntax::TRIG)
        return enterGraph(at, {});
    if (CharacterClass::is(byte, CharacterClass::LETTER)) {
        bool isKeyword = false;
        const char* const end = readKeyword(at, isKeyword);
        if (isKeyword)
            return end;
    }
    return readTriples(at);
}

const char* TurtleReader::readDirective(const char* const at) {
    const char* end = at + 1;
    while (CharacterClass::is(m_window.peek(end), CharacterClass::LETTER))
        ++end;
    const std::string_view word(at, static_cast<size_t>(end - at));
    if (word == "@prefix")
        return readPrefix(end, true);
    if (word == "@base")
        return readBase(end, true);
    if (word == "@version" && m_window.isVersion12())
        return readVersion(end, true);
    return m_window.failExpected(at, "a statement");
}

/// Reads a directive or a graph that starts with a word in upper or lower case.
const char* TurtleReader::readKeyword(const char* const at, bool& isKeyword) {
    // Statements that start with a name are the common case.
    if (std::string_view("pPbBvVgG").find(*at) == std::string_view::npos)
        return nullptr;
    Name name;
    const char* const end = readName(m_window, at, name);
    isKeyword = true;
    if (end != nullptr && !name.m_isPrefixed) {
        if (equalsIgnoringCase(name.m_prefix, "PREFIX"))
            return readPrefix(end, false);
        if (equalsIgnoringCase(name.m_prefix, "BASE"))
            return readBase(end, false);
        if (equalsIgnoringCase(name.m_prefix, "VERSION") && m_window.isVersion12())
            return readVersion(end, false);
        if (equalsIgnoringCase(name.m_prefix, "GRAPH") && m_options.m_syntax == Syntax::TRIG)
            return readGraphLabel(end);
    }
    isKeyword = false;
    return nullptr;
}

const char* TurtleReader::readPrefix(const char* at, const bool hasFullStop) {
    at = m_terms.skipSpace(at);
    Name name;
    const bool isName = m_window.is(at, ':') || isNameStart(m_window, at);
    const char* const end = isName ? readName(m_window, at, name) : at;
    if (end == nullptr)
        return nullptr;
    if (!name.m_isPrefixed || !name.m_local.empty())
        return m_window.failExpected(at, "a prefix and ':'");
    Term iri;
    at = m_terms.skipSpace(end);
    if (!m_window.is(at, '<'))
        return m_window.failExpected(at, "an IRI in '<' and '>'");
    if ((at = m_terms.readIri(at, iri, "an IRI")) == nullptr || (at = readFullStop(at, hasFullStop)) == nullptr)
        return nullptr;
    m_context.m_prefixes.declare(name.m_prefix, iri.m_text);
    return at;
}

const char* TurtleReader::readBase(const char* at, const bool hasFullStop) {
    Term iri;
    at = m_terms.skipSpace(at);
    if (!m_window.is(at, '<'))
        return m_window.failExpected(at, "an IRI in '<' and '>'");
    if ((at = m_terms.readIri(at, iri, "an IRI")) == nullptr || (at = readFullStop(at, hasFullStop)) == nullptr)
        return nullptr;
    m_context.m_base.setBase(std::string(iri.m_text));
    return at;
}

const char* TurtleReader::readVersion(const char* at, const bool hasFullStop) {
    at = m_terms.skipSpace(at);
    const bool isQuoted = m_window.is(at, '"') || m_window.is(at, '\'');
    const bool isLong = isQuoted && m_window.is(at + 1, *at) && m_window.is(at + 2, *at);
    if (!isQuoted || isLong)
        return m_window.failExpected(at, "a version in quotes");
    std::string_view version;
    at = readShortString(m_window, at, version);
    return at == nullptr ? nullptr : readFullStop(at, hasFullStop);
}

const char* TurtleReader::readFullStop(const char* at, const bool isWanted) {
    if (!isWanted)
        return at;
    at = m_terms.skipSpace(at);
    return m_window.is(at, '.') ? at + 1 : m_window.failExpected(at, "'.'");
}

const char* TurtleReader::readGraphLabel(const char* at) {
    Term label;
    at = m_terms.skipSpace(at);
    if (m_window.is(at, '_')) {
        at = m_terms.readLabel(at, label);
    } else if (m_window.is(at, '[')) {
        label = m_terms.makeBlankNode(at);
        at = m_terms.skipSpace(at + 1);
        at = m_window.is(at, ']') ? at + 1 : m_window.failExpected(at, "']'");
    } else {
        at = m_terms.readIri(at, label, "the label of a graph");
    }
    if (at == nullptr)
        return nullptr;
    at = m_terms.skipSpace(at);
    return m_window.is(at, '{') ? enterGraph(at, label) : m_window.failExpected(at, "'{'");
}

const char* TurtleReader::readTriples(const char* const at) {
    const char* const end = m_triples.read(at, m_isInGraph ? &m_graph : nullptr);
    if (end == nullptr || m_window.isIncomplete())
        return end;
    if (const Term* const label = m_triples.getLabel())
        return enterGraph(end, *label);
    deliver();
    return *end == '.' ? end + 1 : end;
}

const char* TurtleReader::enterGraph(const char* const brace, const Term& label) {
    if (m_window.isIncomplete())
        return brace;
    m_isInGraph = true;
    m_graphName = label.m_text;
    m_graph.m_kind = label.m_kind;
    m_graph.m_text = m_graphName;
    m_graphPlace = m_places.find(brace);
    return brace + 1;
}

void TurtleReader::deliver() {
    for (const Statement& statement : m_triples.getStatements())
        m_sink.takeStatement(statement);
}

/// Goes on with what is being skipped, if anything is; its error is reported in the end.
const char* TurtleReader::finishSkipping(const char* const begin, const char* const end, const bool isLast) {
    if (!m_skipper.isSkipping())
        return begin;
    const char* const at = m_options.m_isLenient ? m_skipper.skip(begin, end, isLast) : end;
    m_bytesExamined += static_cast<uint64_t>(at - begin);
    if (m_options.m_isLenient && m_skipper.isSkipping())
        return at;
    report(m_error, at);
    return at;
}

void TurtleReader::reportOpenGraph(const char* const end) {
    m_isInGraph = false;
    const uint64_t offset = m_places.getOffset(end);
    m_error = {m_graphPlace, "this '{' is not closed: expected a statement or '}', found the end of the text", offset,
               0};
    report(m_error, end);
}

} // namespace Rdf

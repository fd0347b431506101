#include "Reader/TurtleReader.h"

#include "Reader/ByteScan.h"
#include "Reader/QuotedString.h"

#include <algorithm>
#include <utility>

namespace Rdf {

namespace {

// Statements that start with another letter are not directives.
constexpr std::string_view KEYWORD_STARTS = "pPbBvVgG";

bool equalsIgnoringCase(const std::string_view word, const std::string_view lowerCase) noexcept {
    return std::equal(word.begin(), word.end(), lowerCase.begin(), lowerCase.end(),
                      [](const char left, const char right) { return (left | 0x20) == right; });
}

/// Returns whether the white space and comments that end here end in a comment.
bool endsInComment(const char* const begin, const char* end) noexcept {
    while (end != begin && end[-1] != '\n' && end[-1] != '\r')
        if (*--end == '#')
            return true;
    return false;
}

} // namespace

TurtleReader::TurtleReader(const ReaderOptions& options, StatementSink& sink)
    : SyntaxReader(options, sink), m_state{std::make_shared<const TurtleContext>(options.m_base), std::nullopt},
      m_terms(m_window, m_places, m_state.m_context), m_triples(m_options, m_window, m_terms),
      m_skipper(m_window, m_options.m_maximumLength) {}

void TurtleReader::startAt(const Place& place, TurtleState state) {
    SyntaxReader::startAt(place);
    m_state = std::move(state);
    m_ownContext = nullptr;
    m_skipper.stop();
    m_isInComment = false;
}

const char* TurtleReader::readText(const char* const begin, const char* const end, const bool isLast) {
    const char* at = finishSkipping(begin, end, isLast);
    if (m_skipper.isSkipping())
        return at;
    openWindow(at, end, isLast);
    for (;;) {
        const char* const unit = skipSpace(at);
        if (unit == end || m_window.isIncomplete()) {
            if (isLast && m_state.m_graph)
                reportOpenGraph(end);
            return unit;
        }
        m_window.getArena().clear();
        const char* const windowEnd = m_window.getEnd();
        const TextWindow::Beyond beyond = m_window.getBeyond();
        const bool isLong = narrowWindow(unit);
        at = readUnit(unit);
        if (m_window.isIncomplete()) {
            if (!isLong)
                return unit;
            at = m_window.failLength(unit, "statement", m_options.m_maximumLength);
        }
        if (isLong && at != nullptr)
            m_window.open(windowEnd, beyond);
        if (at != nullptr) {
            m_bytesExamined += static_cast<uint64_t>(at - unit);
            continue;
        }
        m_bytesExamined += static_cast<uint64_t>(std::max(m_window.getFailureEnd(), unit) - unit);
        m_error = takeFailure(unit);
        const bool isInGraph = m_state.m_graph.has_value();
        if (isInGraph && m_window.isFailureAtEnd()) // the text also ends in the graph
            blameOpenGraph();
        if (!m_options.m_isLenient) {
            report(m_error, unit);
            return end;
        }
        m_skipper.start(static_cast<size_t>(m_window.getFailurePlace() - unit), hasGraphs(m_options.m_syntax),
                        isInGraph);
        at = finishSkipping(unit, end, isLast);
        if (m_skipper.isSkipping())
            return at;
        openWindow(at, end, isLast);
    }
}

/// Skips white space and comments, and records whether a comment continues after the window.
const char* TurtleReader::skipSpace(const char* const at) {
    const char* const begin = m_isInComment ? ByteScan::findLineEnd(at, m_window.getEnd()) : at;
    const char* const unit = m_terms.skipSpace(begin);
    m_isInComment = m_window.isIncomplete() && ((m_isInComment && begin == unit) || endsInComment(begin, unit));
    return unit;
}

/// Ends the window where the unit would be too long, unless it ends before that. Returns whether it did.
bool TurtleReader::narrowWindow(const char* const unit) {
    if (static_cast<size_t>(m_window.getEnd() - unit) <= m_options.m_maximumLength) [[likely]]
        return false;
    const char* end = unit + m_options.m_maximumLength;
    while (end != unit && !ByteScan::CharacterStart::matches(static_cast<uint8_t>(*end)))
        --end;
    m_window.open(end, TextWindow::Beyond::MORE_TEXT);
    return true;
}

/// Reads a unit: a statement, a directive, or the opening or closing of a graph.
const char* TurtleReader::readUnit(const char* const at) {
    const int byte = m_window.peek(at);
    if (m_state.m_graph) {
        if (byte != '}')
            return readTriples(at);
        m_state.m_graph.reset();
        return at + 1;
    }
    if (byte == '{' && m_options.m_syntax == Syntax::TRIG)
        return enterGraph(at, {});
    bool isDirective =
        byte == '@' || (byte > 0 && KEYWORD_STARTS.find(static_cast<char>(byte)) != std::string_view::npos);
    if (isDirective) {
        const char* const end = readDirective(at, isDirective);
        if (isDirective)
            return end;
    }
    return readTriples(at);
}

/// Reads a directive, or a graph that starts with a word; if neither is here, reports that.
const char* TurtleReader::readDirective(const char* const at, bool& isDirective) {
    const bool hasFullStop = *at == '@';
    Name name;
    const char* end = readName(m_window, hasFullStop ? at + 1 : at, name);
    const auto isWord = [&](const std::string_view word) {
        return hasFullStop ? name.m_prefix == word : equalsIgnoringCase(name.m_prefix, word);
    };
    isDirective = true;
    if (end != nullptr && (hasFullStop || !name.m_isPrefixed)) {
        end = name.m_prefix.data() + name.m_prefix.size();
        if (isWord("prefix"))
            return readPrefix(end, hasFullStop);
        if (isWord("base"))
            return readBase(end, hasFullStop);
        if (isWord("version") && m_window.isVersion12())
            return readVersion(end, hasFullStop);
        if (isWord("graph") && !hasFullStop && m_options.m_syntax == Syntax::TRIG)
            return readGraphLabel(end);
    }
    isDirective = hasFullStop;
    return hasFullStop ? m_window.failExpected(at, "a statement") : nullptr;
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
    at = readIriAndFullStop(end, iri, hasFullStop);
    if (at == nullptr)
        return nullptr;
    const auto known = m_state.m_context->m_prefixes.find(name.m_prefix);
    if (known == m_state.m_context->m_prefixes.end() || known->second != iri.m_text)
        changeContext().m_prefixes.insert_or_assign(std::string(name.m_prefix), std::string(iri.m_text));
    return at;
}

const char* TurtleReader::readBase(const char* at, const bool hasFullStop) {
    Term iri;
    at = readIriAndFullStop(at, iri, hasFullStop);
    if (at != nullptr && m_state.m_context->m_base.getBase() != iri.m_text)
        changeContext().m_base.setBase(iri.m_text);
    return at;
}

const char* TurtleReader::readIriAndFullStop(const char* at, Term& iri, const bool hasFullStop) {
    at = m_terms.skipSpace(at);
    if (!m_window.is(at, '<'))
        return m_window.failExpected(at, "an IRI in '<' and '>'");
    at = m_terms.readIri(at, iri, "an IRI");
    return at == nullptr ? nullptr : readFullStop(at, hasFullStop);
}

const char* TurtleReader::readVersion(const char* at, const bool hasFullStop) {
    at = m_terms.skipSpace(at);
    const bool isQuoted = m_window.is(at, '"') || m_window.is(at, '\'');
    if (!isQuoted || (m_window.is(at + 1, *at) && m_window.is(at + 2, *at)))
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
    const bool isBlankNode = m_window.is(at, '_') || m_window.is(at, '[');
    at = isBlankNode ? m_terms.readBlankNode(at, label) : m_terms.readIri(at, label, "the label of a graph");
    if (at == nullptr)
        return nullptr;
    at = m_terms.skipSpace(at);
    return m_window.is(at, '{') ? enterGraph(at, label) : m_window.failExpected(at, "'{'");
}

const char* TurtleReader::readTriples(const char* const at) {
    Term graph;
    if (m_state.m_graph)
        graph = {m_state.m_graph->m_kind, Direction::NONE, m_state.m_graph->m_name, {}, {}, nullptr, at};
    const char* const end = m_triples.read(at, m_state.m_graph ? &graph : nullptr);
    if (end == nullptr || m_window.isIncomplete())
        return end;
    if (const Term* const label = m_triples.getLabel())
        return enterGraph(end, *label);
    const char* const next = *end == '.' ? end + 1 : end;
    m_statementText = {at, static_cast<size_t>(next - at)};
    m_triples.giveTo(*m_sink);
    return next;
}

const char* TurtleReader::enterGraph(const char* const brace, const Term& label) {
    if (m_window.isIncomplete())
        return brace;
    m_state.m_graph = {label.m_kind, std::string(label.m_text), m_places.find(brace)};
    return brace + 1;
}

/// Returns the context for a change: a copy, if another state refers to it.
TurtleContext& TurtleReader::changeContext() {
    if (m_ownContext == nullptr) {
        auto context = std::make_shared<TurtleContext>(*m_state.m_context);
        m_ownContext = context.get();
        m_state.m_context = std::move(context);
    }
    return *m_ownContext;
}

/// Continues to skip, if something is being skipped; its error is reported at the end.
const char* TurtleReader::finishSkipping(const char* const begin, const char* const end, const bool isLast) {
    if (!m_skipper.isSkipping())
        return begin;
    const char* const at = m_skipper.skip(begin, end, isLast);
    m_bytesExamined += static_cast<uint64_t>(at - begin);
    passSkipped(begin, at);
    if (!m_skipper.isSkipping())
        report(m_error, at);
    return at;
}

void TurtleReader::reportOpenGraph(const char* const end) {
    m_window.failExpected(end, "a statement or '}'");
    m_error = takeFailure(end);
    blameOpenGraph();
    report(m_error, end);
}

/// Reports the graph as the error, as the text ends in it.
void TurtleReader::blameOpenGraph() {
    m_error.m_place = m_state.m_graph->m_place;
    m_error.m_message.insert(0, "this '{' is not closed: ");
    m_state.m_graph.reset();
}

} // namespace Rdf

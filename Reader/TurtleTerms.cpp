#include "Reader/TurtleTerms.h"

#include "Reader/Iri.h"
#include "Reader/Literal.h"
#include "Reader/QuotedString.h"

#include <algorithm>
#include <string>

namespace Rdf {

namespace {

constexpr std::string_view ANONYMOUS = "anon";

std::string_view join(const std::string_view first, const std::string_view second, TextArena& arena) {
    char* const text = arena.allocate(first.size() + second.size());
    std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), text));
    return {text, first.size() + second.size()};
}

std::string_view joinUnescaped(const std::string_view iri, const std::string_view local, TextArena& arena) {
    char* const text = arena.allocate(iri.size() + local.size());
    char* output = std::copy(iri.begin(), iri.end(), text);
    for (size_t index = 0; index < local.size(); ++index) {
        if (local[index] == '\\')
            ++index;
        *output++ = local[index];
    }
    return {text, static_cast<size_t>(output - text)};
}

} // namespace

const char* TurtleTerms::readIri(const char* const at, Term& term, const char* const expected) {
    if (!m_window.is(at, '<')) {
        Name name;
        const char* const end = isNameStart(m_window, at) || m_window.is(at, ':') ? readName(m_window, at, name) : at;
        if (end == nullptr || name.m_isPrefixed)
            return end == nullptr ? nullptr : expandName(at, end, name, term);
        return m_window.failExpected(at, expected);
    }
    if (m_window.is(at + 1, '<'))
        return m_window.failExpected(at, expected);
    term.m_kind = TermKind::IRI;
    term.m_begin = at;
    const char* const end = readIriReference(m_window, at, term.m_text);
    if (end == nullptr || isAbsoluteIri(term.m_text))
        return end;
    if (!m_context->m_base.hasBase())
        return m_window.fail(at, "expected an absolute IRI, as there is no base, found '<" + std::string(term.m_text) +
                                     ">'");
    term.m_text = m_context->m_base.resolve(term.m_text, m_window.getArena());
    return end;
}

const char* TurtleTerms::readBlankNode(const char* const at, Term& term) {
    if (m_window.is(at, '[')) {
        term = makeBlankNode(at);
        const char* const closing = skipSpace(at + 1);
        if (m_window.is(closing, ']'))
            return closing + 1;
        m_window.failExpected(closing, "']'");
        return m_window.is(closing, '.') || m_window.isFailureAtEnd() ? m_window.blameOpening(at, "'['") : nullptr;
    }
    term.m_kind = TermKind::BLANK_NODE;
    term.m_begin = at;
    const char* const end = readBlankNodeLabel(m_window, at, term.m_text);
    if (end != nullptr && term.m_text.starts_with(ANONYMOUS))
        term.m_text = join("anon_", term.m_text.substr(ANONYMOUS.size()), m_window.getArena());
    return end;
}

const char* TurtleTerms::readString(const char* const at, Term& term) {
    return readLiteral(
        m_window, at, term, [this](const char* const space) { return skipSpace(space); }, readTurtleString,
        [this](auto&&... arguments) { return readIri(arguments...); });
}

const char* TurtleTerms::readWord(const char* const at, Term& term, const char* const expected) {
    Name name;
    const char* const end = readName(m_window, at, name);
    if (end == nullptr)
        return nullptr;
    if (name.m_isPrefixed)
        return expandName(at, end, name, term);
    if (name.m_prefix != "true" && name.m_prefix != "false")
        return m_window.failExpected(at, expected);
    term = {TermKind::LITERAL, Direction::NONE, name.m_prefix, {}, Vocabulary::XSD_BOOLEAN, nullptr, at};
    return end;
}

const char* TurtleTerms::expandName(const char* const at, const char* const end, const Name& name, Term& term) {
    const auto prefix = m_context->m_prefixes.find(name.m_prefix);
    if (prefix == m_context->m_prefixes.end())
        return m_window.fail(at, "expected a declared prefix, found '" + std::string(name.m_prefix) + ":'");
    term.m_kind = TermKind::IRI;
    term.m_begin = at;
    term.m_text = name.m_hasEscapes ? joinUnescaped(prefix->second, name.m_local, m_window.getArena())
                                    : join(prefix->second, name.m_local, m_window.getArena());
    return end;
}

Term TurtleTerms::makeBlankNode(const char* const at) {
    const std::string_view label = join(ANONYMOUS, std::to_string(m_places.getOffset(at)), m_window.getArena());
    return {TermKind::BLANK_NODE, Direction::NONE, label, {}, {}, nullptr, at};
}

} // namespace Rdf

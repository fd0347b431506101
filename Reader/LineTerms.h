#pragma once

#include "Reader/Iri.h"
#include "Reader/Literal.h"
#include "Reader/Name.h"
#include "Reader/QuotedString.h"
#include "Reader/Term.h"
#include "Reader/TextWindow.h"

#include <cstddef>
#include <deque>
#include <string>

/// Reads the terms of N-Triples and N-Quads.
namespace Rdf::LineTerms {

/// The triples of the last triple term, which refers to them.
struct Triples {
    explicit Triples(const size_t maximumNesting) : m_maximumNesting(maximumNesting) {}

    const size_t m_maximumNesting;
    std::deque<Triple> m_triples;
};

constexpr bool isLineEnd(const char byte) noexcept {
    return byte == '\n' || byte == '\r';
}

inline const char* skipBlanks(const char* at, const char* const end) noexcept {
    while (at != end && (*at == ' ' || *at == '\t'))
        ++at;
    return at;
}

/// Reads an absolute IRI; if none starts here, reports what was expected.
inline const char* readIri(TextWindow& window, const char* const at, Term& term, const char* const expected) {
    if (!window.is(at, '<') || window.is(at + 1, '<')) [[unlikely]]
        return window.failExpected(at, expected);
    term.m_kind = TermKind::IRI;
    term.m_begin = at;
    const char* const end = readIriReference(window, at, term.m_text);
    if (end != nullptr && !isAbsoluteIri(term.m_text)) [[unlikely]]
        return window.fail(at, "expected an absolute IRI, found '<" + std::string(term.m_text) + ">'");
    return end;
}

/// Reads an IRI or a blank node.
inline const char* readSubject(TextWindow& window, const char* const at, Term& term, const char* const expected) {
    if (!window.is(at, '_')) [[likely]]
        return readIri(window, at, term, expected);
    term.m_kind = TermKind::BLANK_NODE;
    term.m_begin = at;
    return readBlankNodeLabel(window, at, term.m_text);
}

/// Reads a triple term from its opening brackets.
const char* readTripleTerm(TextWindow& window, const char* at, Term& term, Triples& storage);

/// Reads any term.
inline const char* readObject(TextWindow& window, const char* const at, Term& term, Triples& triples,
                              const char* const expected) {
    switch (window.peek(at)) {
    case '"':
        return readLiteral(
            window, at, term, [&window](const char* const space) { return skipBlanks(space, window.getEnd()); },
            readShortString,
            [&window](const char* const iri, Term& datatype, const char* const expectedDatatype) {
                return readIri(window, iri, datatype, expectedDatatype);
            });
    case '_':
        return readSubject(window, at, term, expected);
    case '<':
        if (window.isVersion12() && window.is(at + 1, '<') && window.is(at + 2, '('))
            return readTripleTerm(window, at, term, triples);
        [[fallthrough]];
    default:
        return readIri(window, at, term, expected);
    }
}

} // namespace Rdf::LineTerms

#include "Reader/LineTerms.h"

namespace Rdf::LineTerms {

/// Only objects can be triple terms within triple terms, so the subjects and predicates of all come first, and at the
/// end all brackets close.
const char* readTripleTerm(TextWindow& window, const char* at, Term& term, Triples& storage) {
    const char* const end = window.getEnd();
    std::deque<Triple>& triples = storage.m_triples;
    triples.clear();
    Term* object = &term;
    const char* opening = at;
    // If the line ends in a triple term, the triple term is the error.
    const auto blameOpening = [&] {
        const char* const place = window.getFailurePlace();
        const bool isAtEnd = place == end ? window.isFailureAtEnd() : isLineEnd(*place);
        return isAtEnd ? window.blameOpening(opening, "'<<('") : nullptr;
    };
    for (; window.isPair(at, '<', '<') && window.is(at + 2, '('); at = skipBlanks(at, end)) {
        if (triples.size() == storage.m_maximumNesting)
            return window.failNesting(at, storage.m_maximumNesting);
        opening = at;
        Triple& triple = triples.emplace_back();
        object->m_kind = TermKind::TRIPLE;
        object->m_begin = at;
        object->m_triple = &triple;
        object = &triple.m_object;
        if ((at = readSubject(window, skipBlanks(at + 3, end), triple.m_subject, "a subject")) == nullptr ||
            (at = readIri(window, skipBlanks(at, end), triple.m_predicate, "a predicate")) == nullptr)
            return blameOpening();
    }
    if ((at = readObject(window, at, *object, storage, "an object")) == nullptr)
        return blameOpening();
    for (size_t open = triples.size(); open != 0; --open) {
        at = skipBlanks(at, end);
        opening = open == 1 ? term.m_begin : triples[open - 2].m_object.m_begin;
        if (!window.isPair(at, ')', '>') || !window.is(at + 2, '>')) {
            window.failExpected(at, "')>>'");
            return window.is(at, '.') ? window.blameOpening(opening, "'<<('") : blameOpening();
        }
        at += 3;
    }
    return at;
}

} // namespace Rdf::LineTerms

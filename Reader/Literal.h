#pragma once

#include "Reader/Term.h"
#include "Reader/TextWindow.h"
#include "Reader/Vocabulary.h"

#include <string>
#include <string_view>

namespace Rdf {

/// Reads a language tag from its '@', and in RDF 1.2 a direction: @en, @zh-Hant, @ar--rtl.
const char* readLanguageTag(TextWindow& window, const char* at, Term& literal);

/// Reads a number of Turtle from its sign, digit or full stop: an integer, a decimal or a double.
const char* readNumber(TextWindow& window, const char* at, Term& literal);

/// Reads a literal in quotes with its language tag or datatype. The syntaxes differ in the text that is allowed between
/// these parts (skipSpace), in their strings, and in their IRIs.
///
/// RDF 1.2 allows rdf:langString and rdf:dirLangString only for literals with a language tag.
template<class SkipSpace, class ReadString, class ReadIri>
const char* readLiteral(TextWindow& window, const char* at, Term& literal, const SkipSpace& skipSpace,
                        const ReadString& readString, const ReadIri& readIri) {
    literal.m_kind = TermKind::LITERAL;
    literal.m_begin = at;
    literal.m_direction = Direction::NONE;
    literal.m_tag = literal.m_datatype = {};
    if ((at = readString(window, at, literal.m_text)) == nullptr)
        return nullptr;
    at = skipSpace(at);
    if (window.is(at, '@'))
        return readLanguageTag(window, at, literal);
    if (!window.is(at, '^'))
        return at;
    if (!window.is(at + 1, '^'))
        return window.failExpected(at + 1, "'^' after '^'");
    Term datatype;
    const char* const iri = skipSpace(at + 2);
    if ((at = readIri(iri, datatype, "a datatype")) == nullptr)
        return nullptr;
    literal.m_datatype = datatype.m_text;
    const bool isForTags =
        datatype.m_text.ends_with("angString") &&
        (datatype.m_text == Vocabulary::RDF_LANG_STRING || datatype.m_text == Vocabulary::RDF_DIR_LANG_STRING);
    if (isForTags && window.isVersion12())
        return window.fail(iri, "expected a datatype for a literal without language tag, found '" +
                                    std::string(datatype.m_text) + "'");
    return at;
}

} // namespace Rdf

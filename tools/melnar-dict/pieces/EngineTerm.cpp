#include "tools/melnar-dict/pieces/EngineTerm.h"

#include "tools/melnar-dict/pieces/BlankNodeScope.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Reader/CanonicalWriter.h"
#include "Reader/Literal.h"

namespace {

/// Returns whether a tag is valid in a triple term, according to RDF 1.2.
bool isReadable(const std::string_view tag) {
    const std::string text = "@" + std::string(tag);
    Rdf::TextWindow window(Rdf::Version::RDF_1_2);
    window.open(text.data() + text.size(), Rdf::TextWindow::Beyond::NOTHING);
    Rdf::Term literal;
    return Rdf::readLanguageTag(window, text.data(), literal) == window.getEnd();
}

/// Writes a literal of rdf:PlainLiteral as text and tag, if the result can be read again.
Rdf::Term untangle(const Rdf::Term& literal) {
    std::string_view form = literal.m_text;
    uint8_t datatypeID = D_RDF_PLAIN_LITERAL;
    if (!acceptPlainLiteral(form, datatypeID))
        return literal;
    const Term plain = Term::parse(datatypeID, form);
    if (!plain.m_language.empty() && !isReadable(plain.m_language))
        return literal;
    return toRdfLiteral(plain);
}

void appendPart(const Rdf::Term& term, const uint64_t document, std::string& text) {
    using Rdf::CanonicalWriter::appendTerm;
    using Rdf::CanonicalWriter::Tags;
    if (term.m_kind == Rdf::TermKind::BLANK_NODE)
        BlankNodeScope::appendLabel(document, term.m_text, text.append("_:"));
    else if (term.m_datatype == RDF_PLAIN_LITERAL)
        appendTerm(untangle(term), text, Tags::AS_WRITTEN);
    else
        appendTerm(term, text, Tags::AS_WRITTEN);
}

Term::Direction toDirection(const Rdf::Direction direction) noexcept {
    switch (direction) {
    case Rdf::Direction::LEFT_TO_RIGHT:
        return Term::Direction::LEFT_TO_RIGHT;
    case Rdf::Direction::RIGHT_TO_LEFT:
        return Term::Direction::RIGHT_TO_LEFT;
    case Rdf::Direction::NONE:
        break;
    }
    return Term::Direction::NONE;
}

} // namespace

Term toTerm(const Rdf::Term& term, const uint64_t document, std::string& text) {
    switch (term.m_kind) {
    case Rdf::TermKind::IRI:
        return {.m_kind = Term::Kind::IRI, .m_text = term.m_text};
    case Rdf::TermKind::LITERAL:
        return {.m_kind = Term::Kind::LITERAL,
                .m_direction = toDirection(term.m_direction),
                .m_text = term.m_text,
                .m_language = term.m_tag,
                .m_datatype = term.m_datatype};
    case Rdf::TermKind::BLANK_NODE:
        text.clear();
        BlankNodeScope::appendLabel(document, term.m_text, text);
        return {.m_kind = Term::Kind::BLANK_NODE, .m_text = text};
    case Rdf::TermKind::TRIPLE:
        text = "<<( ";
        Rdf::CanonicalWriter::appendTripleOf(*term.m_triple, text,
                                             [&](const Rdf::Term& part, bool) { appendPart(part, document, text); });
        text += " )>>";
        return {.m_kind = Term::Kind::TRIPLE_TERM, .m_text = text};
    case Rdf::TermKind::NONE:
        break;
    }
    return {};
}

Rdf::Term toRdfLiteral(const Term& literal) noexcept {
    Rdf::Term term;
    term.m_kind = Rdf::TermKind::LITERAL;
    term.m_text = literal.m_text;
    term.m_tag = literal.m_language;
    term.m_datatype = literal.m_datatype;
    if (literal.m_direction != Term::Direction::NONE)
        term.m_direction = literal.m_direction == Term::Direction::LEFT_TO_RIGHT ? Rdf::Direction::LEFT_TO_RIGHT
                                                                                 : Rdf::Direction::RIGHT_TO_LEFT;
    return term;
}

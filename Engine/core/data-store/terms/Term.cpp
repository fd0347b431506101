#include "Engine/core/data-store/terms/Term.h"

#include "Engine/core/data-store/dictionary/BuiltInFactoryPriority.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/DatatypeNames.h"
#include "Engine/core/data-store/terms/TermDatatypeFactory.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <algorithm>
#include <array>

using namespace melnar;

namespace {

constexpr std::string_view DATATYPE_MARK = "^^";
constexpr std::string_view LEFT_TO_RIGHT_MARK = "--ltr";
constexpr std::string_view RIGHT_TO_LEFT_MARK = "--rtl";

// In this file, since every program with a Dictionary links it. The priority initialises them before the static objects
// of an application, one of which may be a Dictionary.
[[gnu::init_priority(melnar::BUILT_IN_FACTORY_PRIORITY)]] const std::array<TermDatatypeFactory, 5> s_termFactories{
    TermDatatypeFactory(TermFamily::get(D_IRI)), TermDatatypeFactory(TermFamily::get(D_BLANK_NODE)),
    TermDatatypeFactory(TermFamily::get(D_TYPED_LITERAL)), TermDatatypeFactory(TermFamily::get(D_DIRECTIONAL_STRING)),
    TermDatatypeFactory(TermFamily::get(D_TRIPLE_TERM))};

} // namespace

Term Term::parse(const uint8_t datatypeID, const std::string_view lexicalForm) noexcept {
    switch (datatypeID) {
    case D_IRI:
        return {.m_kind = Kind::IRI, .m_text = lexicalForm};
    case D_BLANK_NODE:
        return {.m_kind = Kind::BLANK_NODE, .m_text = lexicalForm};
    case D_TRIPLE_TERM:
        return {.m_kind = Kind::TRIPLE_TERM, .m_text = lexicalForm};
    case D_TYPED_LITERAL: {
        const size_t mark = std::min(lexicalForm.rfind(DATATYPE_MARK), lexicalForm.size());
        return {.m_kind = Kind::LITERAL,
                .m_text = lexicalForm.substr(0, mark),
                .m_datatype = lexicalForm.substr(std::min(mark + DATATYPE_MARK.size(), lexicalForm.size()))};
    }
    case D_RDF_PLAIN_LITERAL:
    case D_DIRECTIONAL_STRING: {
        const size_t atSign = std::min(lexicalForm.rfind('@'), lexicalForm.size());
        Term term{.m_kind = Kind::LITERAL,
                  .m_text = lexicalForm.substr(0, atSign),
                  .m_language = lexicalForm.substr(std::min(atSign + 1, lexicalForm.size()))};
        if (datatypeID == D_DIRECTIONAL_STRING) {
            term.m_direction =
                term.m_language.ends_with(LEFT_TO_RIGHT_MARK) ? Direction::LEFT_TO_RIGHT : Direction::RIGHT_TO_LEFT;
            term.m_language.remove_suffix(std::min(LEFT_TO_RIGHT_MARK.size(), term.m_language.size()));
        }
        return term;
    }
    case D_XSD_STRING:
        return {.m_kind = Kind::LITERAL, .m_text = lexicalForm};
    default:
        return {};
    }
}

uint8_t Term::getDatatypeID() const noexcept {
    switch (m_kind) {
    case Kind::IRI:
        return D_IRI;
    case Kind::BLANK_NODE:
        return D_BLANK_NODE;
    case Kind::TRIPLE_TERM:
        return D_TRIPLE_TERM;
    case Kind::LITERAL:
        return getDatatypeIDOfLiteral();
    case Kind::NONE:
        break;
    }
    return D_INVALID;
}

/// Returns D_INVALID if parts would be lost in the lexical form, or make it that of another term.
uint8_t Term::getDatatypeIDOfLiteral() const noexcept {
    if (!m_language.empty())
        return !m_datatype.empty() || m_language.find('@') != std::string_view::npos ? D_INVALID
               : m_direction == Direction::NONE                                      ? D_RDF_PLAIN_LITERAL
                                                                                     : D_DIRECTIONAL_STRING;
    if (m_direction != Direction::NONE || m_datatype.find('^') != std::string_view::npos)
        return D_INVALID;
    if (m_datatype.empty() || m_datatype == XSD_STRING)
        return D_XSD_STRING;
    return m_datatype == RDF_PLAIN_LITERAL ? D_RDF_PLAIN_LITERAL : D_TYPED_LITERAL;
}

bool Term::isTextTheForm() const noexcept {
    return m_language.empty() && getDatatypeID() != D_TYPED_LITERAL;
}

void Term::appendLexicalForm(std::string& lexicalForm) const {
    lexicalForm += m_text;
    if (isTextTheForm())
        return;
    if (m_language.empty())
        lexicalForm.append(DATATYPE_MARK).append(m_datatype);
    else
        lexicalForm.append("@").append(m_language);
    if (m_direction != Direction::NONE)
        lexicalForm += m_direction == Direction::LEFT_TO_RIGHT ? LEFT_TO_RIGHT_MARK : RIGHT_TO_LEFT_MARK;
}

std::string_view Term::getLexicalForm(std::string& made) const {
    if (isTextTheForm())
        return m_text;
    made.clear();
    appendLexicalForm(made);
    return made;
}

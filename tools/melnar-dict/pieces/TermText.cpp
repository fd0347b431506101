#include "tools/melnar-dict/pieces/TermText.h"

#include "tools/melnar-dict/pieces/BlankNodeScope.h"
#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/shell/PrintableText.h"

#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/dictionary/Prefixes.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Reader/LineTerms.h"
#include "Reader/ReaderOptions.h"
#include "Reader/Utf8.h"

namespace {

// The first bytes in UTF-8 of the control characters from U+0080 on, and of other characters.
constexpr char FIRST_BYTE_OF_CONTROL = '\xC2';

/// Escapes the control characters beyond ASCII, which the datatype leaves as they are, from `begin` on.
void escapeControls(const size_t begin, std::string& output) {
    if (output.find(FIRST_BYTE_OF_CONTROL, begin) == std::string::npos)
        return;
    const std::string printable = toPrintable(std::string_view(output).substr(begin));
    output.replace(begin, std::string::npos, printable);
}

bool isAbsoluteIri(const std::string_view text) noexcept {
    const char* const end = text.data() + text.size();
    return Rdf::isAbsoluteIri(text) && Rdf::ByteScan::find<Rdf::ByteScan::IriStop>(text.data(), end) == end;
}

bool isLabel(const std::string_view text) {
    const std::string node = "_:" + std::string(text);
    Rdf::TextWindow window(Rdf::Version::RDF_1_2);
    window.open(node.data() + node.size(), Rdf::TextWindow::Beyond::NOTHING);
    std::string_view label;
    return Rdf::readBlankNodeLabel(window, node.data(), label) == window.getEnd();
}

/// Returns whether a form ends with a language tag and a direction.
bool isDirectionalString(const std::string_view form) {
    const size_t atSign = form.rfind('@');
    if (atSign == std::string_view::npos)
        return false;
    Rdf::TextWindow window(Rdf::Version::RDF_1_2);
    window.open(form.data() + form.size(), Rdf::TextWindow::Beyond::NOTHING);
    Rdf::Term literal;
    return Rdf::readLanguageTag(window, form.data() + atSign, literal) == window.getEnd() &&
           literal.m_direction != Rdf::Direction::NONE;
}

/// Returns whether a text is a triple term in canonical form.
bool isTripleTerm(const std::string_view text) {
    Rdf::TextWindow window(Rdf::Version::RDF_1_2);
    window.open(text.data() + text.size(), Rdf::TextWindow::Beyond::NOTHING);
    Rdf::LineTerms::Triples triples{Rdf::ReaderOptions().m_maximumNesting};
    Rdf::Term term;
    if (Rdf::LineTerms::readObject(window, text.data(), term, triples, "") != window.getEnd() ||
        term.m_kind != Rdf::TermKind::TRIPLE)
        return false;
    std::string canonical;
    return toTerm(term, BlankNodeScope::NO_DOCUMENT, canonical).m_text == text;
}

} // namespace

const char* findTermFlaw(const std::string_view lexicalForm, const uint8_t datatypeID) {
    const char* const end = lexicalForm.data() + lexicalForm.size();
    if (Rdf::Utf8::findInvalid(lexicalForm.data(), end) != end)
        return "its text is not UTF-8";
    switch (datatypeID) {
    case D_RDF_PLAIN_LITERAL:
        return classifyPlainLiteral(lexicalForm.data(), lexicalForm.size()) == PlainLiteralKind::WITH_TAG
                   ? nullptr
                   : "its language tag is malformed";
    case D_IRI:
        return isAbsoluteIri(lexicalForm) ? nullptr : "it is not an absolute IRI";
    case D_BLANK_NODE:
        return isLabel(lexicalForm) ? nullptr : "it is not a blank node label";
    case D_TYPED_LITERAL:
        return TermFamily::get(datatypeID).m_isWellFormed(lexicalForm) &&
                       isAbsoluteIri(Term::parse(datatypeID, lexicalForm).m_datatype)
                   ? nullptr
                   : "its datatype is not an absolute IRI, or is that of a string";
    case D_DIRECTIONAL_STRING:
        return isDirectionalString(lexicalForm) ? nullptr : "its language tag or direction is malformed";
    case D_TRIPLE_TERM:
        return isTripleTerm(lexicalForm) ? nullptr : "it is not a triple term in canonical form";
    default:
        return nullptr;
    }
}

void appendTermText(const std::string_view lexicalForm, const uint8_t datatypeID, std::string& output) {
    const size_t begin = output.size();
    if (isOfStrings(datatypeID)) {
        const char* const data = lexicalForm.empty() ? "" : lexicalForm.data(); // an empty view may be null
        DictionaryDatatypeFactory::getFactory(datatypeID)
            ->appendTurtleLiteral(datatypeID, reinterpret_cast<const uint8_t*>(data), lexicalForm.size() + 1, nullptr,
                                  0, Prefixes(), output);
    } else
        TermFamily::get(datatypeID).m_appendTurtle(lexicalForm, output);
    escapeControls(begin, output);
}

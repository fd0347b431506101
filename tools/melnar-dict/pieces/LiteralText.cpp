#include "tools/melnar-dict/pieces/LiteralText.h"

#include "tools/melnar-dict/shell/PrintableText.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/dictionary/Prefixes.h"
#include "Reader/Utf8.h"

namespace {

// How UTF-8 begins the control characters from U+0080 on, and others.
constexpr char FIRST_BYTE_OF_CONTROL = '\xC2';

/// Escapes the control characters beyond ASCII, which the datatype leaves as they are, from `begin` on.
void escapeControls(const size_t begin, std::string& output) {
    if (output.find(FIRST_BYTE_OF_CONTROL, begin) == std::string::npos)
        return;
    const std::string printable = toPrintable(std::string_view(output).substr(begin));
    output.replace(begin, std::string::npos, printable);
}

} // namespace

const char* findLiteralFlaw(const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
    const char* const end = lexicalForm.data() + lexicalForm.size();
    if (Rdf::Utf8::findInvalid(lexicalForm.data(), end) != end)
        return "its text is not UTF-8";
    if (datatypeID == D_RDF_PLAIN_LITERAL &&
        classifyPlainLiteral(lexicalForm.data(), lexicalForm.size()) != PlainLiteralKind::WITH_TAG)
        return "its language tag is malformed";
    return nullptr;
}

LiteralParts splitLiteral(const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
    const size_t at = datatypeID == D_RDF_PLAIN_LITERAL ? lexicalForm.rfind('@') : std::string_view::npos;
    if (at == std::string_view::npos)
        return {lexicalForm, {}};
    return {lexicalForm.substr(0, at), lexicalForm.substr(at + 1)};
}

void appendLiteralText(const std::string_view lexicalForm, const uint8_t datatypeID, std::string& output) {
    const size_t begin = output.size();
    const char* const data = lexicalForm.empty() ? "" : lexicalForm.data(); // a view of nothing may point nowhere
    DictionaryDatatypeFactory::getFactory(datatypeID)
        ->appendTurtleLiteral(datatypeID, reinterpret_cast<const uint8_t*>(data), lexicalForm.size() + 1, nullptr, 0,
                              Prefixes(), output);
    escapeControls(begin, output);
}

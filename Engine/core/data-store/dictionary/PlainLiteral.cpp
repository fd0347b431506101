#include "Engine/core/data-store/dictionary/PlainLiteral.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFailureSites.h"
#include "Engine/core/platform/CharacterMaps.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/dictionary/PlainLiteral";
constexpr long LINE_NOT_A_LANGUAGE_TAG = 54;

bool isMember(const CharacterMap& map, const char character) noexcept {
    return map[static_cast<uint8_t>(character)] != 0;
}

bool isLanguageTag(const std::string_view tag) noexcept {
    const CharacterMap* subtagMap = &CHARMAP_ALPHABETIC;
    const char* current = tag.begin();
    for (;;) {
        const char* const subtagEnd = std::find_if_not(
            current, tag.end(), [subtagMap](const char character) { return isMember(*subtagMap, character); });
        if (subtagEnd == current)
            return false;
        if (subtagEnd == tag.end())
            return true;
        if (*subtagEnd != '-')
            return false;
        current = subtagEnd + 1;
        subtagMap = &CHARMAP_ALPHANUMERIC;
    }
}

} // namespace

PlainLiteralKind classifyPlainLiteral(const char* const lexicalForm, const size_t lexicalFormLength) noexcept {
    const std::string_view form(lexicalForm, lexicalFormLength);
    const size_t atSign = form.rfind('@');
    if (atSign == std::string_view::npos)
        return PlainLiteralKind::WITHOUT_AT_SIGN;
    if (atSign + 1 == form.size())
        return PlainLiteralKind::EMPTY_TAG;
    return isLanguageTag(form.substr(atSign + 1)) ? PlainLiteralKind::WITH_TAG : PlainLiteralKind::WITH_MALFORMED_TAG;
}

void checkLanguageTag(const std::string_view languageTag) {
    if (!languageTag.empty() && !isLanguageTag(languageTag))
        throw MelnarException(FailureKind::REFUSED_LITERAL, SOURCE_FILE, LINE_NOT_A_LANGUAGE_TAG,
                              MelnarException::NO_CAUSES, "'", std::string(languageTag), "' is not a language tag.");
}

void refusePlainLiteral(const PlainLiteralKind kind, const std::string& lexicalForm,
                        const PlainLiteralFailureLines& failureLines) {
    // Existing programs compare both texts, including "it its" and the two spaces.
    if (kind == PlainLiteralKind::WITHOUT_AT_SIGN)
        throw MelnarException(FailureKind::REFUSED_LITERAL, STRING_DATATYPE_SOURCE_FILE, failureLines.m_missingAtSign,
                              MelnarException::NO_CAUSES, "Lexical form '", lexicalForm,
                              "' is invalid for datatype rdf:PlainLiteral because it does not contain the '@' "
                              "character.");
    throw MelnarException(FailureKind::REFUSED_LITERAL, STRING_DATATYPE_SOURCE_FILE, failureLines.m_malformedTag,
                          MelnarException::NO_CAUSES, "Lexical form '", lexicalForm,
                          "' is invalid for datatype rdf:PlainLiteral because  it its language tag is malformed.");
}

void validatePlainLiteral(const char* const lexicalForm, size_t& lexicalFormLength, uint8_t& datatypeID,
                          const PlainLiteralFailureLines& failureLines) {
    if (datatypeID == D_XSD_STRING)
        return;
    const PlainLiteralKind kind = classifyPlainLiteral(lexicalForm, lexicalFormLength);
    if (kind == PlainLiteralKind::EMPTY_TAG) {
        --lexicalFormLength;
        datatypeID = D_XSD_STRING;
    } else if (kind != PlainLiteralKind::WITH_TAG)
        refusePlainLiteral(kind, std::string(lexicalForm, lexicalFormLength), failureLines);
}

#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The syntax of a lexical form given as rdf:PlainLiteral: a text, an '@' and a language tag. The last '@' separates
/// the two; the text may contain others. A tag is one or more ASCII letters, then any number of groups of '-' and one
/// or more ASCII letters or digits. No part has a length limit. Nothing is normalised: "a@en" and "a@EN" are two
/// literals.
enum class PlainLiteralKind : uint8_t {
    WITH_TAG,          ///< a plain literal
    EMPTY_TAG,         ///< ends in '@': the xsd:string before it
    WITHOUT_AT_SIGN,   ///< refused
    WITH_MALFORMED_TAG ///< refused
};

/// Returns what a lexical form is.
MELNAR_EXPORT PlainLiteralKind classifyPlainLiteral(const char* lexicalForm, size_t lexicalFormLength) noexcept;

/// Throws MelnarException unless a tag, given without '@', is well-formed or empty; an empty tag means xsd:string.
void checkLanguageTag(std::string_view languageTag);

/// Returns whether the datatype allows a form. A form with an empty tag becomes the xsd:string before the '@'. A form
/// of datatype ID 5 may be any bytes.
inline bool acceptPlainLiteral(std::string_view& lexicalForm, uint8_t& datatypeID) noexcept {
    if (datatypeID == D_XSD_STRING)
        return true;
    const PlainLiteralKind kind = classifyPlainLiteral(lexicalForm.data(), lexicalForm.size());
    if (kind == PlainLiteralKind::EMPTY_TAG) {
        lexicalForm.remove_suffix(1);
        datatypeID = D_XSD_STRING;
    }
    return kind == PlainLiteralKind::WITH_TAG || kind == PlainLiteralKind::EMPTY_TAG;
}

/// The assigned line numbers of the two refusals of an operation.
struct PlainLiteralFailureLines {
    long m_missingAtSign; ///< of a form without '@'
    long m_malformedTag;  ///< of a form with a malformed tag
};

/// Throws the refusal of a form of kind WITHOUT_AT_SIGN or WITH_MALFORMED_TAG. The message quotes `lexicalForm`.
[[noreturn]] MELNAR_EXPORT void refusePlainLiteral(PlainLiteralKind kind, const std::string& lexicalForm,
                                                   const PlainLiteralFailureLines& failureLines);

/// Accepts a plain literal, or turns a form with an empty tag into the xsd:string before the '@' by changing length and
/// datatype ID, or throws MelnarException. A form of datatype ID 5 may be any bytes and is left unchanged.
MELNAR_EXPORT void validatePlainLiteral(const char* lexicalForm, size_t& lexicalFormLength, uint8_t& datatypeID,
                                        const PlainLiteralFailureLines& failureLines);

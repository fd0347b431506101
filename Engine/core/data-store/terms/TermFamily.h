#pragma once

#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

///@{
/// The datatype IDs of the terms that are no strings. Each family is a datatype. Its lexical form is:
///   IRI                 its characters
///   blank node          its label
///   literal             its text, "^^" and the IRI of its datatype, which is neither xsd:string nor rdf:PlainLiteral
///   directional string  its text, '@', language tag, "--" and "ltr" or "rtl"
///   triple term         canonical N-Triples: "<<( " subject predicate object " )>>"
/// Two terms are equal if their families and lexical forms are equal: "01" and "1" are two integers.
constexpr uint8_t D_IRI = 250;
constexpr uint8_t D_BLANK_NODE = 251;
constexpr uint8_t D_TYPED_LITERAL = 252;
constexpr uint8_t D_DIRECTIONAL_STRING = 253;
constexpr uint8_t D_TRIPLE_TERM = 254;
///@}

/// The properties of a family of terms. A program can have families of its own, with other IDs and names; see
/// TermDatatypeFactory.
///
/// Threads  Constant: any threads at any time, and so are its functions, which depend on the form alone.
struct MELNAR_EXPORT TermFamily {
    /// The end of a form at which it has the text that it may share with others; see AffixTable.
    enum class AffixPlace : uint8_t {
        FRONT, ///< before the form's own text
        BACK   ///< after it
    };

    uint8_t m_datatypeID;        ///< of the family, 1 to 255
    const char* m_name;          ///< under which the datatype is registered
    const char* m_plural;        ///< the name of its terms in statistics
    AffixPlace m_affixPlace;     ///< of its forms
    uint8_t m_numberOfSightings; ///< how often a text must be seen before it is shared

    /// Returns the length of the text that a form may share with others, or 0; at most the length of the form.
    size_t (*m_getAffixLength)(std::string_view lexicalForm) noexcept;

    /// Returns whether the family allows a form: printed, it cannot be mistaken for another term. IRIs are not checked.
    bool (*m_isWellFormed)(std::string_view lexicalForm) noexcept;

    /// Appends a well-formed term in N-Triples syntax.
    void (*m_appendTurtle)(std::string_view lexicalForm, std::string& output);

    /// Throws MelnarException if the family does not allow a form, or if it is too long.
    void check(std::string_view lexicalForm) const;

    /// Appends a form, given its own part and its shared part.
    void appendJoined(std::string_view ownPart, std::string_view affix, std::string& lexicalForm) const {
        const bool isInFront = m_affixPlace == AffixPlace::FRONT;
        lexicalForm.append(isInFront ? affix : ownPart).append(isInFront ? ownPart : affix);
    }

    /// Returns the family of one of the IDs above.
    static const TermFamily& get(uint8_t datatypeID) noexcept;
};

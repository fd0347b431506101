#pragma once

#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The datatype IDs of the terms that are no strings. Each family is a datatype of its own; the lexical form is
///   an IRI's           its characters
///   a blank node's     its label
///   a literal's        its text, "^^" and the IRI of its datatype, which is neither xsd:string nor rdf:PlainLiteral
///   a directional      its text, '@', language tag, "--" and "ltr" or "rtl"
///     string's
///   a triple term's    itself in N-Triples, "<<( " subject predicate object " )>>", in canonical form
/// Two terms are equal if their families and lexical forms are: "01" and "1" are two integers.
constexpr uint8_t D_IRI = 250;
constexpr uint8_t D_BLANK_NODE = 251;
constexpr uint8_t D_TYPED_LITERAL = 252;
constexpr uint8_t D_DIRECTIONAL_STRING = 253;
constexpr uint8_t D_TRIPLE_TERM = 254;

/// What tells a family of terms from the others.
///
/// Threads  Constant: any threads at any time.
struct MELNAR_EXPORT TermFamily {
    /// Where a form has the text that it may share with others; see AffixTable.
    enum class AffixPlace : uint8_t { FRONT, BACK };

    uint8_t m_datatypeID;
    const char* m_name;   // that the datatype is registered under
    const char* m_plural; // what statistics call its terms
    AffixPlace m_affixPlace;
    uint32_t m_numberOfSightings; // of a text, before it is shared

    /// The length of the text that a form may share with others, or 0.
    size_t (*m_getAffixLength)(std::string_view lexicalForm) noexcept;

    /// Whether a form is one of this family: printed, it can be taken for nothing else. An IRI is not looked at.
    bool (*m_isWellFormed)(std::string_view lexicalForm) noexcept;

    /// Appends a well-formed term as it stands in N-Triples.
    void (*m_appendTurtle)(std::string_view lexicalForm, std::string& output);

    /// Throws MelnarException unless a form is one of this family, and not too long.
    void check(std::string_view lexicalForm) const;

    /// Appends the form whose own and whose shared part are given.
    void appendJoined(std::string_view ownPart, std::string_view affix, std::string& lexicalForm) const {
        const bool isInFront = m_affixPlace == AffixPlace::FRONT;
        lexicalForm.append(isInFront ? affix : ownPart).append(isInFront ? ownPart : affix);
    }

    /// The family of one of the IDs above.
    static const TermFamily& get(uint8_t datatypeID) noexcept;
};

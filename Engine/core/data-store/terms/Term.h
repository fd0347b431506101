#pragma once

#include "Engine/core/platform/Export.h"

#include <cstdint>
#include <string>
#include <string_view>

/// An RDF term as its users know it. Terms are equal if all their parts are, byte for byte; values are not compared.
///
/// Ownership  The views refer to the caller's bytes, or to those that the term was parsed from.
/// Threads    One thread at a time.
struct MELNAR_EXPORT Term {
    enum class Kind : uint8_t { NONE, IRI, BLANK_NODE, LITERAL, TRIPLE_TERM };

    enum class Direction : uint8_t { NONE, LEFT_TO_RIGHT, RIGHT_TO_LEFT };

    Kind m_kind = Kind::NONE;
    Direction m_direction = Direction::NONE; // of a literal with a language tag

    /// An absolute IRI; a label without "_:"; a literal's text; or a triple term in canonical N-Triples, brackets
    /// included. The label of a blank node belongs to its document: the caller makes labels of different documents
    /// differ.
    std::string_view m_text{};

    std::string_view m_language{}; // a literal's tag, without '@' and direction
    std::string_view m_datatype{}; // a literal's; empty if it has a tag, or neither, which means xsd:string

    /// The term of a resource. Of a form that is none of its datatype, as a damaged file may have, some parts are missing.
    static Term parse(uint8_t datatypeID, std::string_view lexicalForm) noexcept;

    /// The datatype that has resources for such terms. D_INVALID for what is no term: of kind NONE, or a literal whose
    /// parts contradict each other, as a direction without a language tag or a datatype beside one, or cannot be parts: a
    /// tag with '@', a datatype with '^'.
    uint8_t getDatatypeID() const noexcept;

    /// Whether the text is the whole lexical form.
    bool isTextTheForm() const noexcept;

    /// Appends the lexical form of the datatype.
    void appendLexicalForm(std::string& lexicalForm) const;

    /// The text where that is the form, or else the form, which takes the place of the content of `made`.
    std::string_view getLexicalForm(std::string& made) const;

    bool operator==(const Term&) const = default;

    uint8_t getDatatypeIDOfLiteral() const noexcept;
};

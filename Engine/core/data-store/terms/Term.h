#pragma once

#include "Engine/core/platform/Export.h"

#include <cstdint>
#include <string>
#include <string_view>

/// An RDF term with its parts. Two terms are equal if all their parts are, byte for byte; values are not compared.
///
/// Ownership  The views refer to the caller's bytes, or to the bytes from which the term was parsed.
/// Threads    One thread at a time.
struct MELNAR_EXPORT Term {
    /// The kinds of terms.
    enum class Kind : uint8_t {
        NONE,       ///< no term
        IRI,        ///< an IRI
        BLANK_NODE, ///< a blank node
        LITERAL,    ///< a literal of any datatype
        TRIPLE_TERM ///< a triple term
    };

    /// The base direction of a literal with a language tag.
    enum class Direction : uint8_t {
        NONE,          ///< no direction is given
        LEFT_TO_RIGHT, ///< "ltr"
        RIGHT_TO_LEFT  ///< "rtl"
    };

    Kind m_kind = Kind::NONE;                ///< what the term is
    Direction m_direction = Direction::NONE; ///< of a literal with a language tag

    /// An absolute IRI; a label without "_:"; a literal's text; or a triple term in canonical N-Triples, including
    /// brackets. The label of a blank node is local to its document: the caller must make labels of different documents
    /// differ.
    std::string_view m_text{};

    std::string_view m_language{}; ///< a literal's tag, without '@' and direction
    std::string_view m_datatype{}; ///< a literal's; empty if it has a tag, or neither, which means xsd:string

    /// Returns the term of a resource. If its datatype does not allow the form, as may happen in a damaged file, some
    /// parts are missing.
    static Term parse(uint8_t datatypeID, std::string_view lexicalForm) noexcept;

    /// Returns the datatype of the term's resource. D_INVALID if there can be none: for kind NONE, and for a literal
    /// whose parts contradict each other (a direction without a language tag, a datatype beside one) or are impossible
    /// (a tag with '@', a datatype with '^').
    uint8_t getDatatypeID() const noexcept;

    /// Returns whether the text is the whole lexical form.
    bool isTextTheForm() const noexcept;

    /// Appends the term's lexical form.
    void appendLexicalForm(std::string& lexicalForm) const;

    /// Returns the text if it is the whole form. Otherwise replaces the content of `made` by the form, and returns
    /// that.
    std::string_view getLexicalForm(std::string& made) const;

    /// Compares all parts, byte for byte.
    bool operator==(const Term&) const = default;

    /// Does what getDatatypeID does, for a term of kind LITERAL.
    uint8_t getDatatypeIDOfLiteral() const noexcept;
};

#pragma once

#include <cstdint>
#include <string_view>

namespace Rdf {

struct Triple;

/// The kinds of terms.
enum class TermKind : uint8_t {
    NONE,       ///< no term
    IRI,        ///< an IRI
    BLANK_NODE, ///< a blank node
    LITERAL,    ///< a literal of any datatype
    TRIPLE      ///< a triple term
};

/// The base direction of a literal with a language tag.
enum class Direction : uint8_t {
    NONE,          ///< no direction is given
    LEFT_TO_RIGHT, ///< "ltr"
    RIGHT_TO_LEFT  ///< "rtl"
};

/// A term of a statement.
///
/// Ownership  The views refer to the text that was read or to memory of the reader; both are valid until the sink
///            returns from the statement.
struct Term {
    TermKind m_kind = TermKind::NONE;        ///< what the term is
    Direction m_direction = Direction::NONE; ///< of a literal with a language tag
    std::string_view m_text{};        ///< an absolute IRI, a label without "_:", or a literal's lexical form, unescaped
    std::string_view m_tag{};         ///< a literal's language tag as written, without '@' and direction
    std::string_view m_datatype{};    ///< a literal's; empty if it has a tag, or neither, which means xsd:string
    const Triple* m_triple = nullptr; ///< of a triple term
    const char* m_begin = nullptr;    ///< where the term starts in the text; SyntaxReader::locate returns its place
};

/// The parts of a triple term.
struct Triple {
    Term m_subject;   ///< an IRI or a blank node
    Term m_predicate; ///< an IRI
    Term m_object;    ///< any term
};

/// A triple, and the graph that it belongs to: of kind NONE for the default graph.
struct Statement : Triple {
    Term m_graph; ///< an IRI, a blank node or none
};

} // namespace Rdf

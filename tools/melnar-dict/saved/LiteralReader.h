#pragma once

#include "tools/melnar-dict/pieces/InputError.h"

#include "Engine/core/platform/Unmovable.h"
#include "Reader/Term.h"
#include "Reader/TextWindow.h"

#include <optional>
#include <string_view>

/// Reads string literals that are given one by one, each as a text of its own, in Turtle syntax: in quotes of either
/// kind, one or three, with a language tag or a datatype, for which xsd:string and rdf:PlainLiteral can stand, too.
///
/// Threads  One at a time.
class LiteralReader : private Unmovable {
public:
    /// Reads a text that is a string literal, with white space around it at most. The literal is valid until the next
    /// call. Returns what is wrong otherwise, with the column but no line; a text that lacks quotes gets a hint.
    std::optional<InputError> read(std::string_view text, Rdf::Term& literal);

private:
    const char* readLiteral(const char* at, Rdf::Term& literal);
    InputError makeError(std::string_view text, const char* place, std::string cause) const;

    Rdf::TextWindow m_window{Rdf::Version::RDF_1_2};
};

#pragma once

#include "Reader/ReaderOptions.h"

#include <array>

/// All syntaxes. Each text is read in all of them.
inline constexpr std::array SYNTAXES{Rdf::Syntax::N_TRIPLES, Rdf::Syntax::N_QUADS, Rdf::Syntax::TURTLE,
                                     Rdf::Syntax::TRIG};

/// Returns the name of a syntax for messages.
constexpr const char* getName(const Rdf::Syntax syntax) {
    constexpr std::array NAMES{"N-Triples", "N-Quads", "Turtle", "TriG"};
    return NAMES[static_cast<size_t>(syntax)];
}

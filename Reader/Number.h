#pragma once

#include "Reader/Term.h"
#include "Reader/TextWindow.h"

namespace Rdf {

/// Reads a number of Turtle, whose sign, digit or full stop stands here: an integer, a decimal or a double.
const char* readNumber(TextWindow& window, const char* at, Term& literal);

} // namespace Rdf

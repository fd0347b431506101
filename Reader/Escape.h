#pragma once

#include "Reader/TextWindow.h"

#include <cstdint>

namespace Rdf {

/// Reads \uXXXX or \UXXXXXXXX, whose backslash stands here: the number of a character, which is no surrogate.
const char* readUnicodeEscape(TextWindow& window, const char* at, uint32_t& character);

/// Reads an escape of a string, also \t, \b, \n, \r, \f, \", \' and \\, and appends its character's UTF-8 to the output,
/// which is never longer than the escape.
const char* readStringEscape(TextWindow& window, const char* at, char*& output);

} // namespace Rdf

#pragma once

#include "Engine/core/platform/Export.h"

#include <string>

class OutputStream;

/// Writes the bytes [begin, end) as they appear between the double quotes of a Turtle or N-Triples string: quote,
/// backslash, line feed, carriage return, tab, backspace and form feed as their two-character escapes, every other
/// control character (U+0000 to U+001F and U+007F) as `\u` and four hexadecimal digits, everything else unchanged. If
/// the input is valid UTF-8, the result is a valid string body.
MELNAR_EXPORT void printStringEscaped(OutputStream& output, const char* begin, const char* end);

/// Appends to `output` what printStringEscaped writes.
MELNAR_EXPORT void appendStringEscaped(std::string& output, const char* begin, const char* end);

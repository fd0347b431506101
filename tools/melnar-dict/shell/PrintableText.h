#pragma once

#include <string>
#include <string_view>

/// What messages show of texts that others wrote: names, and what stands in files. Control characters, which could make
/// a terminal do something, become \u001B and the like, and bytes that are not UTF-8 \xFF. Messages are for people: a
/// backslash of the text stays as it is.

/// A text in one line.
std::string toPrintable(std::string_view text);

/// A text that may have several lines.
std::string toPrintableLines(std::string_view text);

#pragma once

#include <string>
#include <string_view>

/// Makes texts from outside printable for messages: names, and contents of files. Control characters, which could
/// affect a terminal, become \u001B and the like, and bytes that are not UTF-8 \xFF. Messages are for human readers: a
/// backslash of the text stays as it is.

/// Returns a text of one line.
std::string toPrintable(std::string_view text);

/// Returns a text that may have several lines.
std::string toPrintableLines(std::string_view text);

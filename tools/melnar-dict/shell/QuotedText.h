#pragma once

#include <string>
#include <string_view>

/// Returns a text in single quotes for a message of one line: shortened if it is long, and printable as toPrintable
/// makes it.
std::string quoteText(std::string_view text);

#pragma once

#include <string>
#include <string_view>

/// Returns a text in single quotes for a message of one line: cut short if it is long, and with U+FFFD for control
/// characters and bytes that are not UTF-8, which would reach a terminal raw.
std::string quoteText(std::string_view text);

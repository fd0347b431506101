#pragma once

#include <string>
#include <string_view>

/// Appends a text as a JSON string with its quotes. Bytes that are not UTF-8 become U+FFFD, since JSON has no others.
void appendJsonString(std::string& output, std::string_view text);

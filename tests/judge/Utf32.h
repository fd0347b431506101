#pragma once

#include <string>
#include <string_view>

/// Decodes UTF-8. Throws Refusal if it is invalid.
std::u32string toUtf32(std::string_view text);

std::string toUtf8(std::u32string_view text);

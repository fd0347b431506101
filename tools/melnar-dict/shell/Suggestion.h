#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Returns "; did you mean 'NAME'?" with the name that was probably meant: one that begins like the typed text, or
/// differs from it by a few characters; or an empty text.
std::string suggest(std::string_view typed, const std::vector<std::string>& names);

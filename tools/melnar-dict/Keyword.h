#pragma once

#include <algorithm>
#include <string_view>

/// Whether a word is this keyword, in upper or lower case, as "base", "prefix" and "graph" may be written.
inline bool isKeyword(const std::string_view word, const std::string_view lowerCaseKeyword) noexcept {
    return std::equal(word.begin(), word.end(), lowerCaseKeyword.begin(), lowerCaseKeyword.end(),
                      [](const char given, const char expected) { return (given | 0x20) == expected; });
}

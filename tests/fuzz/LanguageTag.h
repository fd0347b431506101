#pragma once

#include <sstream>
#include <string>
#include <string_view>

/// Returns whether a tag consists of parts of ASCII letters and digits, joined by hyphens, the first without digits.
/// This is the rule of the dictionary, stated a second time.
inline bool isLanguageTag(const std::string& tag) {
    constexpr std::string_view LETTERS = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::string lettersAndDigits = std::string(LETTERS) + "0123456789";
    std::istringstream parts(tag + '-');
    bool isFirst = true;
    for (std::string part; std::getline(parts, part, '-'); isFirst = false)
        if (part.empty() || part.find_first_not_of(isFirst ? LETTERS : lettersAndDigits) != std::string::npos)
            return false;
    return true;
}

#include "tools/melnar-dict/saved/FigureText.h"

#include "tools/melnar-dict/shell/Amounts.h"

#include <array>
#include <charconv>

namespace {

std::string toText(const double number, const int numberOfDecimals) {
    std::array<char, 32> buffer;
    return {buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed,
                                         numberOfDecimals)
                               .ptr};
}

} // namespace

std::string toCountText(const uint64_t number, const std::string& noun) {
    return groupDigits(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string toShareText(const uint64_t part, const uint64_t whole) {
    if (part == 0)
        return "0%";
    if (part == whole)
        return "100%";
    const double percent = static_cast<double>(part) * 100 / static_cast<double>(whole);
    if (percent < 0.1)
        return "<0.1%";
    return percent > 99.9 ? ">99.9%" : toText(percent, 1) + "%";
}

std::string toDecimalText(const double number) {
    const std::string text = toText(number, 2);
    const size_t point = text.size() - 3;
    return groupDigits(std::stoull(text)) + text.substr(point);
}

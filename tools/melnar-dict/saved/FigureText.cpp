#include "tools/melnar-dict/saved/FigureText.h"

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

std::string toCountText(const uint64_t number) {
    std::string text = std::to_string(number);
    for (size_t position = text.size(); position > 3; position -= 3)
        text.insert(position - 3, 1, ',');
    return text;
}

std::string toCountText(const uint64_t number, const std::string& noun) {
    return toCountText(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string toBytesText(const uint64_t bytes) {
    if (bytes < 1024)
        return toCountText(bytes, "byte");
    constexpr std::array<const char*, 4> UNITS{" KiB", " MiB", " GiB", " TiB"};
    auto number = static_cast<double>(bytes) / 1024;
    size_t unit = 0;
    // What rounds up to 1024 is one of the next unit.
    for (; number >= 1023.5 && unit + 1 != UNITS.size(); ++unit)
        number /= 1024;
    return toText(number, number < 9.995 ? 2 : number < 99.95 ? 1 : 0) + UNITS[unit];
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
    return toCountText(std::stoull(text)) + text.substr(point);
}

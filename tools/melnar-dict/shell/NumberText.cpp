#include "tools/melnar-dict/shell/NumberText.h"

#include <charconv>
#include <limits>

namespace {

unsigned shiftOfUnit(const char unit) {
    switch (unit) {
    case 'K':
    case 'k':
        return 10;
    case 'M':
    case 'm':
        return 20;
    case 'G':
    case 'g':
        return 30;
    case 'T':
    case 't':
        return 40;
    default:
        return 0;
    }
}

} // namespace

std::optional<uint64_t> parseNumber(const std::string_view text) noexcept {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

std::optional<uint64_t> parseNumberOfBytes(std::string_view text) noexcept {
    const unsigned shift = text.empty() ? 0 : shiftOfUnit(text.back());
    if (shift != 0)
        text.remove_suffix(1);
    const std::optional<uint64_t> number = parseNumber(text);
    if (!number || *number == 0 || *number > (std::numeric_limits<uint64_t>::max() >> shift))
        return std::nullopt;
    return *number << shift;
}

std::string formatNumberOfBytes(uint64_t numberOfBytes) {
    constexpr std::string_view UNITS = "KMGT";
    size_t numberOfUnits = 0;
    for (; numberOfBytes != 0 && numberOfBytes % 1024 == 0 && numberOfUnits != UNITS.size(); ++numberOfUnits)
        numberOfBytes /= 1024;
    return std::to_string(numberOfBytes) + std::string(numberOfUnits == 0 ? "" : UNITS.substr(numberOfUnits - 1, 1));
}

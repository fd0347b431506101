#include "tools/melnar-dict/shell/Amounts.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace {

template<class... Values>
std::string print(const char* const format, const Values... values) {
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

} // namespace

std::string groupDigits(const uint64_t number) {
    std::string text = std::to_string(number);
    for (size_t place = text.size(); place > 3;)
        text.insert(place -= 3, 1, ',');
    return text;
}

std::string describeBytes(const uint64_t numberOfBytes) {
    if (numberOfBytes < 1024)
        return std::to_string(numberOfBytes) + (numberOfBytes == 1 ? " byte" : " bytes");
    constexpr std::array<const char*, 6> UNITS = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    size_t unit = 0;
    double value = static_cast<double>(numberOfBytes) / 1024;
    for (; value >= 999.5; value /= 1024)
        ++unit;
    return print("%.*f %s", value < 9.995 ? 2 : value < 99.95 ? 1 : 0, value, UNITS[unit]);
}

std::string describeSeconds(const double seconds) {
    if (seconds < 9.95)
        return print("%.1f s", seconds);
    const auto rounded = static_cast<uint64_t>(std::llround(seconds));
    const auto hours = static_cast<unsigned long long>(rounded / 3600);
    const auto minutes = static_cast<unsigned>(rounded / 60 % 60);
    if (hours != 0)
        return print("%llu h %u min", hours, minutes);
    if (minutes != 0)
        return print("%u min %u s", minutes, static_cast<unsigned>(rounded % 60));
    return print("%u s", static_cast<unsigned>(rounded));
}

#include "tools/melnar-dict/TurtleNumber.h"

#include <algorithm>

namespace {

bool isSign(const char character) noexcept {
    return character == '+' || character == '-';
}

const char* skipDigits(const char* const begin, const char* const end) noexcept {
    return std::find_if(begin, end, [](const char character) { return character < '0' || character > '9'; });
}

/// Behind the exponent that starts at `begin`, or `begin`.
const char* skipExponent(const char* const begin, const char* const end) noexcept {
    if (begin == end || (*begin != 'e' && *begin != 'E'))
        return begin;
    const char* const digits = begin + (end - begin > 1 && isSign(begin[1]) ? 2 : 1);
    const char* const digitsEnd = skipDigits(digits, end);
    return digitsEnd == digits ? begin : digitsEnd;
}

} // namespace

const char* findNumberEnd(const char* const begin, const char* const end) noexcept {
    const char* const integer = begin + (begin != end && isSign(*begin) ? 1 : 0);
    const char* const integerEnd = skipDigits(integer, end);
    const char* numberEnd = integerEnd;
    if (integerEnd != end && *integerEnd == '.') {
        const char* const fractionEnd = skipDigits(integerEnd + 1, end);
        // A full stop without digits behind it belongs to the number only if an exponent follows.
        if (fractionEnd != integerEnd + 1 || (integerEnd != integer && skipExponent(fractionEnd, end) != fractionEnd))
            numberEnd = fractionEnd;
    }
    return numberEnd == integer ? begin : skipExponent(numberEnd, end);
}

#include "Reader/Escape.h"

#include "Reader/Utf8.h"

#include <string_view>

namespace Rdf {

const char* readUnicodeEscape(TextWindow& window, const char* const at, uint32_t& character) {
    const int kind = window.peek(at + 1);
    const int numberOfDigits = kind == 'u' ? 4 : 8;
    character = 0;
    for (int index = 0; index < numberOfDigits; ++index) {
        const char* const place = at + 2 + index;
        const int digit = window.peek(place);
        if (!CharacterClass::is(digit, CharacterClass::HEX))
            return window.failExpected(place, kind == 'u' ? "four hexadecimal digits after \\u"
                                                          : "eight hexadecimal digits after \\U");
        character = character << 4 | static_cast<uint32_t>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
    }
    const char* const end = at + 2 + numberOfDigits;
    const auto failBecause = [&](const char* const cause) {
        return window.fail(at, "expected the number of a character, found '" + std::string(at, end) + "', " + cause);
    };
    if (character > 0x10FFFF)
        return failBecause("which is beyond U+10FFFF");
    if (character >= 0xD800 && character <= 0xDFFF)
        return failBecause("half a surrogate pair");
    return end;
}

const char* readStringEscape(TextWindow& window, const char* const at, char*& output) {
    constexpr std::string_view LETTERS = "tbnrf\"'\\";
    constexpr std::string_view CHARACTERS = "\t\b\n\r\f\"'\\";
    const int letter = window.peek(at + 1);
    if (letter == 'u' || letter == 'U') {
        uint32_t character;
        const char* const end = readUnicodeEscape(window, at, character);
        if (end != nullptr)
            output = Utf8::encode(character, output);
        return end;
    }
    const size_t index = letter == TextWindow::END ? LETTERS.npos : LETTERS.find(static_cast<char>(letter));
    if (index == LETTERS.npos)
        return window.failExpected(at + 1, "an escape such as \\n or \\u00E4 after the backslash");
    *output++ = CHARACTERS[index];
    return at + 2;
}

} // namespace Rdf

#include "Reader/QuotedString.h"

#include "Reader/Utf8.h"

#include <algorithm>
#include <cstring>

namespace Rdf {

namespace {

template<char QUOTE>
const char* findLongStringStop(const char* const at, const char* const end) noexcept {
    return ByteScan::find<ByteScan::AnyOf<QUOTE, '\\'>>(at, end);
}

/// Reads an escape of a string and appends its character's UTF-8 to the output, which is never longer than the escape.
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
    const size_t index = letter == TextWindow::END ? std::string_view::npos : LETTERS.find(static_cast<char>(letter));
    if (index == std::string_view::npos)
        return window.failExpected(at + 1, "an escape such as \\n or \\u00E4 after the backslash");
    *output++ = CHARACTERS[index];
    return at + 2;
}

/// Unescapes what stands between quotes, in one pass from left to right.
const char* unescape(TextWindow& window, const char* at, const char* const end, std::string_view& text) {
    const size_t size = static_cast<size_t>(end - at);
    char* const begin = window.getArena().allocate(size);
    char* output = begin;
    while (at != end) {
        const void* const found = std::memchr(at, '\\', static_cast<size_t>(end - at));
        const char* const escape = found == nullptr ? end : static_cast<const char*>(found);
        output = std::copy(at, escape, output);
        if (escape == end)
            break;
        at = readStringEscape(window, escape, output);
        if (at == nullptr)
            return nullptr;
    }
    text = std::string_view(begin, static_cast<size_t>(output - begin));
    return end;
}

} // namespace

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

const char* readEscapedString(TextWindow& window, const char* const opening, const char* stop, std::string_view& text) {
    stop = findShortStringEnd(stop, window.getEnd(), *opening);
    if (!window.is(stop, *opening)) {
        if (stop != window.getEnd() && *stop == '\\')
            ++stop;
        return window.failUnclosed(opening, "string", stop, "its closing quote");
    }
    return unescape(window, opening + 1, stop, text) == nullptr ? nullptr : stop + 1;
}

const char* readLongString(TextWindow& window, const char* const opening, std::string_view& text) {
    if (!window.is(opening + 2, *opening)) {
        text = {};
        return opening + 2;
    }
    const char* const begin = opening + 3;
    const char* const closing =
        window.isKnownUnclosed(*opening) ? window.getEnd() : findLongStringEnd(begin, window.getEnd(), *opening);
    if (window.getEnd() - closing < 3) {
        window.setKnownUnclosed(*opening);
        return window.failUnclosed(opening, "string", window.getEnd(), "its closing quotes");
    }
    const size_t size = static_cast<size_t>(closing - begin);
    text = std::string_view(begin, size);
    if (text.find('\\') != std::string_view::npos && unescape(window, begin, closing, text) == nullptr)
        return nullptr;
    return closing + 3;
}

const char* findShortStringEnd(const char* at, const char* const end, const char quote) noexcept {
    for (;;) {
        at = quote == '"' ? ByteScan::find<ByteScan::AnyOf<'"', '\\', '\n', '\r'>>(at, end)
                          : ByteScan::find<ByteScan::AnyOf<'\'', '\\', '\n', '\r'>>(at, end);
        if (end - at < 2 || *at != '\\' || at[1] == '\n' || at[1] == '\r')
            return at;
        at += 2;
    }
}

const char* findLongStringEnd(const char* at, const char* const end, const char quote) noexcept {
    for (;;) {
        at = quote == '"' ? findLongStringStop<'"'>(at, end) : findLongStringStop<'\''>(at, end);
        if (end - at < 3)
            return at;
        const bool isQuote = *at == quote;
        if (isQuote && at[1] == quote && at[2] == quote)
            return at;
        at += isQuote && at[1] != quote ? 1 : 2;
    }
}

} // namespace Rdf

#include "Reader/QuotedString.h"

#include "Reader/Utf8.h"

#include <algorithm>
#include <array>
#include <span>

namespace Rdf {

namespace {

/// Returns the character for a letter after a backslash, or 0.
constexpr std::array<char, 256> ESCAPES = [] {
    constexpr std::string_view LETTERS = "tbnrf\"'\\";
    constexpr std::string_view CHARACTERS = "\t\b\n\r\f\"'\\";
    std::array<char, 256> escapes{};
    for (size_t index = 0; index < LETTERS.size(); ++index)
        escapes[static_cast<uint8_t>(LETTERS[index])] = CHARACTERS[index];
    return escapes;
}();

/// Reads an escape of a string and appends its character's UTF-8 to the output, which is never longer than the escape.
const char* readStringEscape(TextWindow& window, const char* const at, char*& output) {
    const int letter = window.peek(at + 1);
    if (letter == 'u' || letter == 'U') {
        uint32_t character;
        const char* const end = readUnicodeEscape(window, at, character);
        if (end != nullptr)
            output = Utf8::encode(character, output);
        return end;
    }
    const char character = letter == TextWindow::END ? char(0) : ESCAPES[static_cast<uint8_t>(letter)];
    if (character == 0)
        return window.failExpected(at + 1, "an escape such as \\n or \\u00E4 after the backslash");
    *output++ = character;
    return at + 2;
}

/// Unescapes text up to a byte that ends it or to the limit, in one pass from left to right; returns the position. The
/// last escape may exceed the limit. The output has space for as many bytes as were read.
template<class Stop>
const char* unescape(TextWindow& window, const char* at, const char* const limit, const Stop stop, char*& output) {
    while (at != nullptr) {
        at = ByteScan::copyUntil(at, limit, stop, output);
        if (at >= limit || *at != '\\')
            break;
        at = readStringEscape(window, at, output);
    }
    return at;
}

/// Unescapes the string on one line that starts here; null if it contains anything special besides escapes.
const char* readToClosingQuote(TextWindow& window, const char* const opening, std::string_view& text) {
    constexpr ptrdiff_t LONGEST_ESCAPE = 10;
    const std::span<char> room = window.getArena().getRoom();
    const char* const begin = opening + 1;
    const ptrdiff_t size = std::min(window.getEnd() - begin, static_cast<ptrdiff_t>(room.size()) - LONGEST_ESCAPE);
    if (size <= 0)
        return nullptr;
    char* output = room.data();
    const char* const end = unescape(window, begin, begin + size, ByteScan::StringStop{*opening}, output);
    if (end == nullptr || end >= begin + size || *end != *opening)
        return nullptr;
    text = {room.data(), static_cast<size_t>(output - room.data())};
    window.getArena().allocate(text.size());
    return end + 1;
}

/// Unescapes the text between quotes.
const char* unescapeAll(TextWindow& window, const char* const at, const char* const end, std::string_view& text) {
    char* const begin = window.getArena().allocate(static_cast<size_t>(end - at));
    char* output = begin;
    if (unescape(window, at, end, ByteScan::AnyOf<'\\'>(), output) == nullptr)
        return nullptr;
    text = {begin, static_cast<size_t>(output - begin)};
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
    if (const char* const end = readToClosingQuote(window, opening, text))
        return end;
    stop = findShortStringEnd(stop, window.getEnd(), *opening);
    if (!window.is(stop, *opening)) {
        if (stop != window.getEnd() && *stop == '\\')
            ++stop;
        return window.failUnclosed(opening, "string", stop, "its closing quote");
    }
    return unescapeAll(window, opening + 1, stop, text) == nullptr ? nullptr : stop + 1;
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
    if (text.find('\\') != std::string_view::npos && unescapeAll(window, begin, closing, text) == nullptr)
        return nullptr;
    return closing + 3;
}

const char* findShortStringEnd(const char* at, const char* const end, const char quote) noexcept {
    for (;;) {
        at = ByteScan::find(at, end, ByteScan::StringStop{quote});
        if (end - at < 2 || *at != '\\' || at[1] == '\n' || at[1] == '\r')
            return at;
        at += 2;
    }
}

const char* findLongStringEnd(const char* at, const char* const end, const char quote) noexcept {
    for (;;) {
        at = quote == '"' ? ByteScan::find<ByteScan::AnyOf<'"', '\\'>>(at, end)
                          : ByteScan::find<ByteScan::AnyOf<'\'', '\\'>>(at, end);
        if (end - at < 3)
            return at;
        const bool isQuote = *at == quote;
        if (isQuote && at[1] == quote && at[2] == quote)
            return at;
        at += isQuote && at[1] != quote ? 1 : 2;
    }
}

} // namespace Rdf

#include "tests/judge/Utf32.h"

#include "tests/judge/Refusal.h"

std::string toUtf8(const std::u32string_view text) {
    std::string bytes;
    for (const char32_t character : text) {
        if (character < 0x80) {
            bytes += static_cast<char>(character);
            continue;
        }
        const int following = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
        bytes += static_cast<char>(0xF0U << (3 - following) | character >> 6 * following);
        for (int left = following; left-- > 0;)
            bytes += static_cast<char>(0x80 | (character >> 6 * left & 0x3F));
    }
    return bytes;
}

/// Decodes each character by its bytes, and checks that these are its encoding.
std::u32string toUtf32(const std::string_view text) {
    std::u32string characters;
    for (size_t at = 0; at < text.size();) {
        const auto first = static_cast<unsigned char>(text[at]);
        const size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        char32_t character = length == 1 ? first : first & 0xFFU >> (length + 1);
        for (size_t index = 1; index < length && at + index < text.size(); ++index)
            character = character << 6 | (static_cast<unsigned char>(text[at + index]) & 0x3F);
        if (character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF) ||
            toUtf8({&character, 1}) != text.substr(at, length))
            throw Refusal("no UTF-8 at byte " + std::to_string(at));
        characters += character;
        at += length;
    }
    return characters;
}

#include "Reader/Name.h"

#include "Reader/Utf8.h"

#include <array>

namespace Rdf {

namespace {

using CharacterClass::is;

/// Returns whether a character beyond ASCII may start a name (PN_CHARS_BASE).
bool isNameStartBeyondAscii(const uint32_t character) noexcept {
    // The first and the last of each range.
    constexpr std::array<uint32_t, 24> RANGES{0xC0,   0xD6,   0xD8,   0xF6,   0xF8,   0x2FF,  0x370,   0x37D,
                                              0x37F,  0x1FFF, 0x200C, 0x200D, 0x2070, 0x218F, 0x2C00,  0x2FEF,
                                              0x3001, 0xD7FF, 0xF900, 0xFDCF, 0xFDF0, 0xFFFD, 0x10000, 0xEFFFF};
    for (std::size_t index = 0; index < RANGES.size(); index += 2)
        if (character >= RANGES[index] && character <= RANGES[index + 1])
            return true;
    return false;
}

/// Returns whether a character beyond ASCII may be within a name (PN_CHARS).
bool isNamePartBeyondAscii(const uint32_t character) noexcept {
    return character == 0xB7 || (character >= 0x300 && character <= 0x36F) || character == 0x203F ||
           character == 0x2040 || isNameStartBeyondAscii(character);
}

constexpr bool isAscii(const char byte) noexcept {
    return static_cast<uint8_t>(byte) < 0x80;
}

/// Skips characters of names; ASCII ones must be of this class.
const char* skipNameParts(TextWindow& window, const char* at, const uint8_t asciiClass) noexcept {
    const char* const end = window.getEnd();
    for (;;) {
        while (at != end && is(static_cast<uint8_t>(*at), asciiClass))
            ++at;
        if (at == end || isAscii(*at) || !isNamePartBeyondAscii(Utf8::decode(at)))
            return window.touch(at);
        at += Utf8::getLength(at, end);
    }
}

/// Full stops may be within names, not at their end.
const char* withoutFullStops(const char* const begin, const char* end) noexcept {
    while (end != begin && end[-1] == '.')
        --end;
    return end;
}

/// Returns whether a label or local name may start here; also with a digit or underscore.
bool isLabelStart(TextWindow& window, const char* const at) noexcept {
    return isNameStart(window, at) || is(window.peek(at), CharacterClass::DIGIT) || window.is(at, '_');
}

/// Reads the part after the colon; an escaped full stop may end it.
const char* readLocalName(TextWindow& window, const char* const begin, bool& hasEscapes) {
    const char* at = begin;
    const char* unescaped = begin; // the text after the last escape
    if (window.peek(at) != '%' && window.peek(at) != '\\' && window.peek(at) != ':' && !isLabelStart(window, at))
        return at;
    for (;;) {
        at = skipNameParts(window, at, CharacterClass::LOCAL_NAME);
        const int byte = window.peek(at);
        if (byte == '%') {
            for (int index = 1; index <= 2; ++index)
                if (!is(window.peek(at + index), CharacterClass::HEX))
                    return window.failExpected(at + index, "two hexadecimal digits after '%'");
            at += 3;
        } else if (byte == '\\') {
            if (!is(window.peek(at + 1), CharacterClass::ESCAPABLE))
                return window.failExpected(at + 1, "a character that a name can escape after the backslash");
            hasEscapes = true;
            at += 2;
        } else {
            return withoutFullStops(unescaped, at);
        }
        unescaped = at;
    }
}

} // namespace

bool isNameStart(TextWindow& window, const char* const at) noexcept {
    const int byte = window.peek(at);
    return byte < 0x80 ? is(byte, CharacterClass::LETTER) : isNameStartBeyondAscii(Utf8::decode(at));
}

const char* readBlankNodeLabel(TextWindow& window, const char* const at, std::string_view& label) {
    if (!window.is(at + 1, ':'))
        return window.failExpected(at + 1, "':' after '_'");
    const char* const begin = at + 2;
    if (!isLabelStart(window, begin))
        return window.failExpected(begin, "a label after '_:'");
    const char* const end = withoutFullStops(begin, skipNameParts(window, begin, CharacterClass::NAME));
    label = std::string_view(begin, static_cast<size_t>(end - begin));
    return end;
}

const char* readName(TextWindow& window, const char* const at, Name& name) {
    const char* end = skipNameParts(window, at, CharacterClass::NAME);
    name.m_hasEscapes = false;
    name.m_isPrefixed = window.is(end, ':') && (end == at || end[-1] != '.');
    if (!name.m_isPrefixed)
        end = withoutFullStops(at, end);
    name.m_prefix = std::string_view(at, static_cast<size_t>(end - at));
    if (!name.m_isPrefixed)
        return end;
    const char* const local = end + 1;
    end = readLocalName(window, local, name.m_hasEscapes);
    if (end != nullptr)
        name.m_local = std::string_view(local, static_cast<size_t>(end - local));
    return end;
}

} // namespace Rdf

#include "Reader/TextWindow.h"

#include "Reader/Utf8.h"

#include <array>
#include <cstdio>

namespace Rdf {

namespace {

constexpr size_t LONGEST_WORD_SHOWN = 30; // in bytes

bool isWordPart(const char character) noexcept {
    return CharacterClass::is(static_cast<uint8_t>(character), CharacterClass::LOCAL_NAME) && character != '.';
}

std::string quote(const char* const begin, const char* const end, const char* const closing) {
    std::string text("'");
    return text.append(begin, end).append(closing);
}

} // namespace

std::nullptr_t TextWindow::fail(const char* const at, std::string message) {
    m_failurePlace = m_failureEnd = at;
    m_failure = std::move(message);
    return nullptr;
}

std::nullptr_t TextWindow::failExpected(const char* const at, const std::string_view expected) {
    touch(at);
    return fail(at, "expected " + std::string(expected) + ", found " + describe(at));
}

std::nullptr_t TextWindow::failUnclosed(const char* const opening, const std::string_view kind, const char* const end,
                                        const std::string_view expected) {
    failExpected(end, expected);
    return isInvalidHere(end) ? nullptr : blameOpening(opening, kind);
}

std::nullptr_t TextWindow::blameOpening(const char* const opening, const std::string_view kind) {
    m_failurePlace = opening;
    m_failure.insert(0, "this " + std::string(kind) + " is not closed: ");
    return nullptr;
}

std::nullptr_t TextWindow::failNesting(const char* const opening, const size_t limit) {
    return fail(opening, "expected at most " + std::to_string(limit) + " brackets within each other, found one more");
}

std::nullptr_t TextWindow::failLength(const char* const begin, const std::string_view kind, const size_t limit) {
    return fail(begin, "expected a " + std::string(kind) + " of at most " + std::to_string(limit) +
                           " bytes, found a longer one");
}

std::string TextWindow::describe(const char* const at) {
    std::array<char, 40> buffer;
    if (at == m_end) {
        if (m_beyond != Beyond::INVALID_BYTE)
            return "the end of the text";
        std::snprintf(buffer.data(), buffer.size(), "the byte 0x%02X, which is not UTF-8 here",
                      static_cast<unsigned>(static_cast<uint8_t>(*at)));
        return buffer.data();
    }
    if (*at == '\n' || *at == '\r')
        return "the end of the line";
    const char* end = at;
    if (*at == '@')
        ++end;
    while (end != m_end && isWordPart(*end) && static_cast<size_t>(end - at) < LONGEST_WORD_SHOWN)
        ++end;
    touch(end);
    if (end != at)
        return quote(at, end, end != m_end && isWordPart(*end) ? "...'" : "'");
    const uint32_t character = Utf8::decode(at);
    if (character > ' ' && character != 0x7F && (character < 0x80 || character > 0xA0))
        return quote(at, at + Utf8::getLength(at, m_end), "'");
    if (character == ' ')
        return "a space";
    std::snprintf(buffer.data(), buffer.size(), "U+%04X", character);
    return buffer.data();
}

} // namespace Rdf

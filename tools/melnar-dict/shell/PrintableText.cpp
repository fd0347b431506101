#include "tools/melnar-dict/shell/PrintableText.h"

#include "Reader/Utf8.h"

#include <cstddef>
#include <cstdint>

namespace {

constexpr std::string_view HEXADECIMAL_DIGITS = "0123456789ABCDEF";

bool isControl(const uint32_t character) noexcept {
    return character < 0x20 || (character >= 0x7F && character <= 0x9F);
}

void appendEscape(const std::string_view beginning, const uint32_t byte, std::string& output) {
    output.append(beginning).append(1, HEXADECIMAL_DIGITS[byte >> 4]).append(1, HEXADECIMAL_DIGITS[byte & 15]);
}

std::string toPrintable(const std::string_view text, const bool keepsLines) {
    std::string printable;
    const char* const end = text.data() + text.size();
    for (const char* current = text.data(); current != end;) {
        const size_t length = Rdf::Utf8::getLength(current, end);
        if (length == 0) {
            appendEscape("\\x", static_cast<unsigned char>(*current++), printable);
            continue;
        }
        const uint32_t character = Rdf::Utf8::decode(current);
        if (isControl(character) && !(keepsLines && character == '\n'))
            appendEscape("\\u00", character, printable);
        else
            printable.append(current, length);
        current += length;
    }
    return printable;
}

} // namespace

std::string toPrintable(const std::string_view text) {
    return toPrintable(text, false);
}

std::string toPrintableLines(const std::string_view text) {
    return toPrintable(text, true);
}

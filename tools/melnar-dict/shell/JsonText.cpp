#include "tools/melnar-dict/shell/JsonText.h"

#include "Reader/Utf8.h"

namespace {

constexpr std::string_view REPLACEMENT_CHARACTER("\xEF\xBF\xBD");
constexpr std::string_view HEXADECIMAL_DIGITS("0123456789abcdef");

void appendValid(std::string& output, const std::string_view text) {
    for (const char character : text)
        if (character == '"' || character == '\\')
            output.append(1, '\\').append(1, character);
        else if (static_cast<unsigned char>(character) >= 0x20)
            output.push_back(character);
        else
            output.append("\\u00")
                .append(1, HEXADECIMAL_DIGITS[static_cast<unsigned char>(character) >> 4])
                .append(1, HEXADECIMAL_DIGITS[static_cast<unsigned char>(character) & 15]);
}

} // namespace

void appendJsonString(std::string& output, const std::string_view text) {
    output.push_back('"');
    const char* const end = text.data() + text.size();
    for (const char* current = text.data(); current != end;) {
        const char* const invalidByte = Rdf::Utf8::findInvalid(current, end);
        appendValid(output, {current, invalidByte});
        current = invalidByte;
        if (current != end) {
            output.append(REPLACEMENT_CHARACTER);
            ++current;
        }
    }
    output.push_back('"');
}

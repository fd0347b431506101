#include "tools/melnar-dict/shell/Html.h"

#include "Reader/Utf8.h"

#include <array>
#include <charconv>

namespace {

constexpr std::string_view REPLACEMENT_CHARACTER("\xEF\xBF\xBD");
constexpr std::string_view PLACEHOLDER("{}");

bool isControlCharacter(const uint32_t character) {
    return character < 0x20 || (0x7F <= character && character < 0xA0);
}

void appendCharacter(std::string& markup, const std::string_view character) {
    if (character == "&")
        markup += "&amp;";
    else if (character == "<")
        markup += "&lt;";
    else if (character == ">")
        markup += "&gt;";
    else if (character == "\"")
        markup += "&quot;";
    else if (character == "'")
        markup += "&#39;";
    else
        markup += isControlCharacter(Rdf::Utf8::decode(character.data())) ? REPLACEMENT_CHARACTER : character;
}

} // namespace

Html Html::ofText(const std::string_view text) {
    Html piece;
    const char* const end = text.data() + text.size();
    for (const char* current = text.data(); current != end;) {
        const size_t length = Rdf::Utf8::getLength(current, end);
        if (length != 0)
            appendCharacter(piece.m_markup, {current, length});
        else
            piece.m_markup += REPLACEMENT_CHARACTER;
        current += length != 0 ? length : 1;
    }
    return piece;
}

std::string Html::toMarkup(const double number) {
    std::array<char, 512> buffer; // for the largest number there is
    return {buffer.data(),
            std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed, 2).ptr};
}

Html Html::fillMarkups(const std::string_view pattern, const std::vector<std::string>& markups) {
    Html piece;
    size_t begin = 0;
    for (const std::string& markup : markups) {
        const size_t end = pattern.find(PLACEHOLDER, begin);
        piece.m_markup.append(pattern.substr(begin, end - begin)).append(markup);
        begin = end + PLACEHOLDER.size();
    }
    piece.m_markup.append(pattern.substr(begin));
    return piece;
}

#include "tools/melnar-dict/shell/QuotedText.h"

#include "Reader/Utf8.h"

namespace {

constexpr size_t LONGEST_TEXT_SHOWN = 100; // in bytes
constexpr std::string_view REPLACEMENT_CHARACTER("\xEF\xBF\xBD");

bool isControlCharacter(const uint32_t character) noexcept {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

} // namespace

std::string quoteText(const std::string_view text) {
    std::string quoted("'");
    const char* const end = text.data() + text.size();
    for (const char* current = text.data(); current != end;) {
        if (static_cast<size_t>(current - text.data()) >= LONGEST_TEXT_SHOWN)
            return quoted + "...'";
        const size_t length = Rdf::Utf8::getLength(current, end);
        if (length == 0 || isControlCharacter(Rdf::Utf8::decode(current)))
            quoted += REPLACEMENT_CHARACTER;
        else
            quoted.append(current, length);
        current += length == 0 ? 1 : length;
    }
    return quoted + "'";
}

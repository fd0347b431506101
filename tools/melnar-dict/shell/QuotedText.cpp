#include "tools/melnar-dict/shell/QuotedText.h"

#include "tools/melnar-dict/shell/PrintableText.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

constexpr size_t LONGEST_TEXT_SHOWN = 100; // in bytes

} // namespace

std::string quoteText(const std::string_view text) {
    size_t length = std::min(text.size(), LONGEST_TEXT_SHOWN);
    while (length != text.size() && length != 0 && (static_cast<uint8_t>(text[length]) & 0xC0) == 0x80)
        --length; // not within a character
    return '\'' + toPrintable(text.substr(0, length)) + (length == text.size() ? "'" : "...'");
}

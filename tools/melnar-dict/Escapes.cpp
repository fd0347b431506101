#include "tools/melnar-dict/Escapes.h"

#include "tools/melnar-dict/CodePoint.h"

#include <cstdint>
#include <optional>

namespace {

bool isForbiddenInIri(const uint32_t codePoint) noexcept {
    return codePoint <= 0x20 ||
           (codePoint < 0x80 &&
            std::string_view("<>\"{}|^`\\").find(static_cast<char>(codePoint)) != std::string_view::npos);
}

/// The number in a \u or \U escape whose letter is the text's first byte; nothing when it is cut short or not a number.
std::optional<uint32_t> parseEscape(const std::string_view text) noexcept {
    const size_t length = text.front() == 'u' ? 4 : 8;
    return text.size() < 1 + length ? std::nullopt : parseHexadecimalDigits(text.data() + 1, length);
}

const char* findFault(std::string_view text, const bool isIri) noexcept {
    for (size_t backslash = text.find('\\'); backslash != std::string_view::npos; backslash = text.find('\\')) {
        text.remove_prefix(backslash + 1);
        if (text.empty())
            break;
        if (text.front() == 'u' || text.front() == 'U') {
            const std::optional<uint32_t> codePoint = parseEscape(text);
            if (codePoint && isSurrogate(*codePoint))
                return "an escape stands for half of a surrogate pair";
            if (codePoint && *codePoint > LAST_CODE_POINT)
                return "an escape stands for a number beyond Unicode";
            if (codePoint && isIri && isForbiddenInIri(*codePoint))
                return "an escape stands for a character that an IRI cannot hold";
        }
        text.remove_prefix(1);
    }
    return nullptr;
}

} // namespace

const char* findFaultInString(const std::string_view text) noexcept {
    return findFault(text, false);
}

const char* findFaultInIri(const std::string_view text) noexcept {
    return findFault(text, true);
}

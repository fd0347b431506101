#include "Engine/core/data-store/DictionaryIdentity.h"

namespace {

constexpr std::string_view HEXADECIMAL_DIGITS = "0123456789abcdef";
constexpr size_t NUMBER_OF_DIGITS = 32;

} // namespace

std::string DictionaryIdentity::toString() const {
    std::string text;
    for (const uint64_t half : {m_checksum[1], m_checksum[0]})
        for (unsigned shift = 64; shift != 0; shift -= 4)
            text += HEXADECIMAL_DIGITS[half >> (shift - 4) & 0xF];
    return text;
}

std::optional<DictionaryIdentity> DictionaryIdentity::parse(const std::string_view text) noexcept {
    if (text.size() != NUMBER_OF_DIGITS)
        return std::nullopt;
    DictionaryIdentity identity;
    for (size_t index = 0; index < text.size(); ++index) {
        const size_t digit = HEXADECIMAL_DIGITS.find(text[index]);
        if (digit == std::string_view::npos)
            return std::nullopt;
        uint64_t& half = identity.m_checksum[index < NUMBER_OF_DIGITS / 2 ? 1 : 0];
        half = half << 4 | digit;
    }
    return identity;
}

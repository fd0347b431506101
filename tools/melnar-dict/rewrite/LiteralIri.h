#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

/// The IRI that represents a string literal in an encoded file: this scheme and the resource ID in decimal, such as
/// `melnar:17`. No IRI of the data may begin like that.
namespace LiteralIri {

inline constexpr std::string_view SCHEME = "melnar:";

inline bool isReserved(const std::string_view iri) noexcept {
    return iri.starts_with(SCHEME);
}

inline void append(const uint64_t resourceID, std::string& output) {
    output.append("<").append(SCHEME).append(std::to_string(resourceID)).append(">");
}

/// Returns the ID in a reserved IRI, or 0 if it does not contain one in exactly this form.
inline uint64_t getResourceID(const std::string_view iri) noexcept {
    const std::string_view digits = iri.substr(SCHEME.size());
    uint64_t resourceID = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), resourceID);
    const bool isWhole = !digits.empty() && error == std::errc() && end == digits.data() + digits.size();
    return isWhole && digits.front() != '0' ? resourceID : 0;
}

} // namespace LiteralIri

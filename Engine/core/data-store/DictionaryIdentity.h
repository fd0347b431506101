#pragma once

#include "Engine/core/platform/Export.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Identifies a saved state of a dictionary: a checksum of its bytes and of the states before it. It is no signature:
/// two states never have the same identity by chance, but an attacker can make such states.
struct MELNAR_EXPORT DictionaryIdentity {
    /// Compares the checksums.
    bool operator==(const DictionaryIdentity&) const = default;

    /// Returns 32 lower-case hexadecimal digits, the upper half first.
    std::string toString() const;

    /// Returns the identity for which toString returns exactly this text, or nothing.
    static std::optional<DictionaryIdentity> parse(std::string_view text) noexcept;

    std::array<uint64_t, 2> m_checksum{}; ///< lower half, upper half
};

#pragma once

#include "Engine/core/platform/Export.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// What a saved state of a dictionary is known by: a checksum of its bytes and of the states before it. It is no
/// signature: chance never gives two states one identity, but somebody may.
struct MELNAR_EXPORT DictionaryIdentity {
    bool operator==(const DictionaryIdentity&) const = default;

    /// 32 lower-case hexadecimal digits, the upper half first.
    std::string toString() const;

    /// The identity that toString gives in just this form, or nothing.
    static std::optional<DictionaryIdentity> parse(std::string_view text) noexcept;

    std::array<uint64_t, 2> m_checksum{}; // lower half, upper half
};

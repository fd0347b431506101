#pragma once

#include "benchmarks/peers/TextHash.h"
#include "benchmarks/peers/TextTable.h"

#include <string_view>

/// A string that is being inserted into a concurrent map. It is copied only when the map has found that it is absent
/// and makes its key. A map that loses a race may make a key that it does not use; the copy then stays in the arena.
struct NewText {
    HashedText m_text;
    mutable std::string_view m_copy;

    explicit NewText(const std::string_view text) noexcept : m_text(text) {}

    // NOLINTNEXTLINE(google-explicit-constructor)
    explicit(false) operator std::string_view() const { return m_copy = TextTable::copy(m_text.m_text); }
};

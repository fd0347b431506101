#pragma once

#include "benchmarks/peers/TextHash.h"
#include "benchmarks/peers/TextTable.h"

#include <string_view>

/// A string on its way into a concurrent map: it is copied only when the map has found that it is not there and makes a
/// key of it. A map that loses a race may make a key that it does not use; the copy stays in the arena then.
struct NewText {
    HashedText m_text;
    mutable std::string_view m_copy;

    explicit NewText(const std::string_view text) noexcept : m_text(text) {}

    // NOLINTNEXTLINE(google-explicit-constructor)
    explicit(false) operator std::string_view() const { return m_copy = TextTable::copy(m_text.m_text); }
};

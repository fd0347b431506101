#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The layout of rows of resource IDs: one after the other, each with the IDs of subject, predicate and object, and of
/// the graph if there are four columns. The default graph is 0. IDs are little-endian.
struct RowLayout {
    static constexpr size_t NARROW = 4;
    static constexpr size_t WIDE = 8;

    size_t m_columns = 3;    // 3 or 4
    size_t m_idWidth = WIDE; // bytes: NARROW or WIDE

    bool operator==(const RowLayout&) const = default;

    size_t getRowSize() const noexcept { return m_columns * m_idWidth; }
};

/// Appends IDs in this many bytes each. Throws ToolFailure for an ID that does not fit; nothing is appended then.
void appendIDs(std::span<const uint64_t> ids, size_t idWidth, std::string& output);

/// Replaces the contents of `ids` by the IDs of whole rows.
void takeIDs(std::string_view bytes, size_t idWidth, std::vector<uint64_t>& ids);

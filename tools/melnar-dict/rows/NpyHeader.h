#pragma once

#include "tools/melnar-dict/rows/RowLayout.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The contents of the header of a .npy with rows of IDs; docs/formats/id-rows.md describes the bytes.
struct NpyHeader {
    static constexpr std::string_view MAGIC = "\x93NUMPY";
    static constexpr size_t PREAMBLE_SIZE = MAGIC.size() + 2; // with the version, before the length of the text

    /// The size of the headers that toBytes makes; it is fixed, so that a header can be written after the rows.
    static constexpr size_t SIZE = 256;

    RowLayout m_layout;
    bool m_isSigned = false; // whether the IDs are signed numbers, as is common in arrays of users
    uint64_t m_numberOfRows = 0;
    std::string m_comment; // from the '#' on, without line end and padding; empty if there is none

    /// Returns the header, with everything before and after its text. The comment has space for a DictionaryLine.
    std::string toBytes() const;

    /// Reads the text of a header. If it is not that of an array of IDs with three or four columns, throws ToolFailure
    /// with ExitCode::BAD_DATA and the reason.
    static NpyHeader parse(std::string_view text);
};

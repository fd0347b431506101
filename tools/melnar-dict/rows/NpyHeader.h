#pragma once

#include "tools/melnar-dict/rows/RowLayout.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// What the header of a .npy with rows of IDs tells; docs/formats/id-rows.md describes the bytes.
struct NpyHeader {
    static constexpr std::string_view MAGIC = "\x93NUMPY";
    static constexpr size_t PREAMBLE_SIZE = MAGIC.size() + 2; // with the version, before the length of the text

    /// The size of the headers that toBytes makes, so that one can be written when the rows are already there.
    static constexpr size_t SIZE = 256;

    RowLayout m_layout;
    bool m_isSigned = false; // whether the IDs are signed numbers, as users' own arrays often are
    uint64_t m_numberOfRows = 0;
    std::string m_comment; // from the '#' on, without line end and padding; empty if there is none

    /// The header, with everything before and behind its text. The comment has room for a DictionaryLine.
    std::string toBytes() const;

    /// Reads the text of a header. Throws ToolFailure with ExitCode::BAD_DATA that tells what is wrong, if it is not that of
    /// an array of IDs with three or four columns.
    static NpyHeader parse(std::string_view text);
};

#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <cstddef>
#include <cstdint>
#include <optional>

/// How rows of IDs are to be laid out: --quads and --id-width.
struct RowOptions {
    bool m_asksForQuads = false;
    std::optional<size_t> m_idWidth; // bytes; without one, what the largest ID needs

    bool isGiven() const noexcept { return m_asksForQuads || m_idWidth; }

    /// Four columns are for graphs: if asked for, or if the syntax of a file has them.
    size_t getNumberOfColumns(const InputFiles& files) const;

    /// In bytes, where no ID is larger than this one.
    size_t getIDWidth(uint64_t largestID) const noexcept;
};

/// Adds --quads and --id-width.
void addRowOptions(VerbDescription& verb, RowOptions& variable);

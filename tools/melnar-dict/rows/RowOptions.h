#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <cstddef>
#include <cstdint>
#include <optional>

/// The requested layout of rows of IDs: --quads and --id-width.
struct RowOptions {
    bool m_asksForQuads = false;
    std::optional<size_t> m_idWidth; // bytes; without one, the width that the largest ID needs

    bool isGiven() const noexcept { return m_asksForQuads || m_idWidth; }

    /// Returns four columns, for graphs, if requested, or if the syntax of a file has graphs.
    size_t getNumberOfColumns(const InputFiles& files) const;

    /// Returns the width in bytes, if no ID is larger than this one.
    size_t getIDWidth(uint64_t largestID) const noexcept;
};

/// Adds --quads and --id-width.
void addRowOptions(VerbDescription& verb, RowOptions& variable);

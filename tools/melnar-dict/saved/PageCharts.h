#pragma once

#include "tools/melnar-dict/saved/DictionaryPortrait.h"
#include "tools/melnar-dict/shell/Html.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The charts of a dictionary's page, in SVG that is as wide as its column of the page.

/// A column of a chart: a range of numbers, and how many terms have one of them, which is its height.
struct ChartColumn {
    std::string m_range;
    std::string m_begin; // of the range, where an axis names the edges of columns
    std::string m_end;
    uint64_t m_numberOfTerms = 0;
};

/// Draws the shares of used buckets along a table, from its first bucket to its last.
Html drawOccupancy(const TableProfile& table);

/// Draws columns with their ranges below and their shares above them. `noun` is the word for a term, here and below.
Html drawProbeLengths(const std::vector<ChartColumn>& columns, const std::string& tableName, const std::string& noun);

/// Draws columns with an axis of shares, and the starts of their ranges as far as there is space for them.
Html drawLengths(const std::vector<ChartColumn>& columns, const std::string& datatypeName, const std::string& noun);

/// Merges the segments of a small table, so that chance alone makes little difference between them.
std::vector<size_t> mergeSegments(const TableProfile& table);

#pragma once

#include "Engine/core/data-store/DictionaryHistory.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/rows/NpyHeader.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Sets a history to that of a dictionary that was saved once.
inline void saveOnce(DictionaryHistory& history) {
    history.add(2, {1, 2});
}

/// Writes rows of IDs like the tool. The comment has no line end.
inline std::string writeRows(const NpyHeader& header, const std::vector<uint64_t>& ids) {
    std::string bytes = header.toBytes();
    appendIDs(ids, header.m_layout.m_idWidth, bytes);
    return bytes;
}

/// Makes files with statements of makeDictionaryOfTerms: of each layout, with and without the line of a dictionary,
/// with signed numbers, and without rows.
inline std::vector<std::string> makeSoundRows() {
    constexpr uint64_t ROWS = 3;
    constexpr uint64_t TERMS_OF_A_NUMBER = 6; // a string, an IRI, a blank node, and others, in this order
    DictionaryHistory history;
    saveOnce(history);
    std::string comment = DictionaryLine::make(history);
    comment.pop_back();
    std::vector<std::string> files;
    for (const size_t columns : {size_t(3), size_t(4)})
        for (const size_t width : {RowLayout::NARROW, RowLayout::WIDE}) {
            std::vector<uint64_t> ids;
            for (uint64_t row = 0; row < ROWS; ++row) {
                const uint64_t first = row * TERMS_OF_A_NUMBER + 1;
                ids.insert(ids.end(), {first + 1 + row % 2, 2, first + row});
                if (columns == 4)
                    ids.push_back(row == 0 ? 0 : first + row);
            }
            files.push_back(
                writeRows({{columns, width}, columns == 4, ROWS, width == RowLayout::WIDE ? comment : ""}, ids));
        }
    files.push_back(writeRows({}, {}));
    return files;
}

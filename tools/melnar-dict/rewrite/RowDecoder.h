#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/rows/RowReader.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class SavedDictionary;

/// Writes the statements of rows of IDs, one per line, in their order and in canonical form, with language tags as the
/// dictionary has them. Refuses rows with an ID that has no term or whose term is not allowed in its position. Of a
/// block, the statements before its first error are written.
///
/// Memory   At most a little more than the text of a statement or MAXIMUM_TEXT bytes, whichever is more.
/// Threads  One at a time; each thread has its own decoder.
class RowDecoder : private Unmovable {
public:
    static constexpr size_t MAXIMUM_TEXT = size_t(1) << 19;

    /// `takesGraphs` says whether the output may name graphs.
    RowDecoder(const SavedDictionary& dictionary, OrderedOutput& output, const bool takesGraphs)
        : m_dictionary(dictionary), m_output(output), m_takesGraphs(takesGraphs) {}

    /// Writes the statements of a block in the turn of its number. Counts and the error are recorded in the piece.
    void decode(const RowReader& reader, const RowBlock& block, ParsedPiece& piece);

private:
    /// The position of the text of an entry in m_text, followed by a space.
    struct Place {
        size_t m_begin = 0;
        size_t m_length = 0; // 0 if it is not there
    };

    void collectEntries();
    size_t appendRows(size_t row);
    bool appendRow(size_t row);
    bool appendTerm(uint32_t entryIndex);
    bool appendEntry(const BatchEntry& entry);
    bool fail(const std::string& cause);
    bool isMisplaced(uint32_t entryIndex, size_t column);

    const SavedDictionary& m_dictionary;
    OrderedOutput& m_output;
    const bool m_takesGraphs;
    size_t m_numberOfColumns = 0;
    std::vector<uint64_t> m_ids;                  // row by row
    std::vector<uint32_t> m_cells;                // the indexes of their entries
    std::vector<BatchEntry> m_entries;            // nearly one for each ID of the block
    std::vector<Place> m_places;                  // of the entries
    std::array<uint32_t, 2048> m_recentEntries{}; // by lower bits of the ID
    std::string m_text;
    std::string m_form;  // of an entry whose form is stored in two parts
    std::string m_cause; // of the error of a row; empty if there is none
};

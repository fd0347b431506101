#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"
#include "Reader/Term.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct Term;

/// The terms of statements on their way to a dictionary, in the order of the file, and the rows of IDs that come of them:
///
///     rows.add(statement, document, line);
///     dictionary.tryResolveResources(commitPoint, rows.getEntries(), failures);
///     rows.appendIDs(rows.getNumberOfRows(), ids);
///
/// A term that stands in the same place in the row before has one entry with it.
///
/// Ownership  Owns the bytes of all terms.
/// Threads    One at a time.
/// Errors     std::bad_alloc.
class TermRows : private Unmovable {
public:
    /// Rows of subject, predicate and object, and the graph if there are four columns.
    explicit TermRows(size_t numberOfColumns) : m_numberOfColumns(numberOfColumns) {}

    /// Adds a row. A graph must have a column. Labels of blank nodes are those of a document.
    void add(const Rdf::Statement& statement, uint64_t document, uint64_t line);

    /// The terms, as the dictionary takes them, subject, predicate, object and graph of each row. Valid until the next
    /// row is added.
    std::span<BatchEntry> getEntries() noexcept;

    size_t getNumberOfRows() const noexcept { return m_lines.size(); }

    /// The line of the row with this index, as it was given.
    uint64_t getLine(const size_t row) const noexcept { return m_lines[row]; }

    /// The first row with a term that has no ID, and the index of its entry; the number of rows if there is none.
    struct Gap {
        size_t m_row;
        size_t m_entryIndex;
    };
    Gap findGap() const noexcept;

    /// Appends the IDs of the first rows, 0 for the default graph.
    void appendIDs(size_t numberOfRows, std::vector<uint64_t>& ids) const;

    /// Empties the rows and keeps their memory.
    void clear() noexcept;

private:
    static constexpr uint32_t NO_ENTRY = std::numeric_limits<uint32_t>::max();

    uint32_t addTerm(const Rdf::Term& term, uint64_t document, size_t column);
    bool isEntry(uint32_t entryIndex, uint8_t datatypeID, std::string_view form) const noexcept;

    const size_t m_numberOfColumns;
    std::vector<BatchEntry> m_entries; // whose forms are set by getEntries
    std::vector<size_t> m_ends;        // of the forms in m_bytes
    std::string m_bytes;
    std::vector<uint32_t> m_cells; // row by row, the indexes of the entries
    std::vector<uint64_t> m_lines; // of the rows
    std::array<uint32_t, 4> m_previous{NO_ENTRY, NO_ENTRY, NO_ENTRY, NO_ENTRY}; // by column
    std::string m_text;                                                         // of a term that is being added
};

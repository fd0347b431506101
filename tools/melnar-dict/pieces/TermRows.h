#pragma once

#include "tools/melnar-dict/pieces/DistinctTerms.h"
#include "tools/melnar-dict/pieces/FormBatch.h"

#include "Engine/core/platform/Unmovable.h"
#include "Reader/Term.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

/// Adds the terms of a block's statements to its batch, each once, and makes the rows of their IDs:
///
///     rows.add(statement, document, line, batch);
///     dictionary.tryResolveResources(commitPoint, batch.getEntries(), failures);
///     rows.appendIDs(rows.findGap(batch.getEntries()).m_row, batch.getEntries(), ids);
///
/// Ownership  Refers to nothing. One batch is used until clear.
/// Threads    One at a time.
/// Errors     std::bad_alloc.
class TermRows : private Unmovable {
public:
    /// Makes rows of subject, predicate and object, and the graph if there are four columns. With no columns, no rows
    /// are kept.
    explicit TermRows(size_t numberOfColumns) : m_numberOfColumns(numberOfColumns) {}

    /// Adds a row. Labels of blank nodes belong to this document.
    void add(const Rdf::Statement& statement, uint64_t document, uint64_t line, FormBatch& batch);

    /// Adds a term that is in no row; returns its entry.
    uint32_t addTerm(const Rdf::Term& term, uint64_t document, uint64_t line, FormBatch& batch);

    size_t getNumberOfRows() const noexcept { return m_cells.size() / m_numberOfColumns; }

    /// Returns the first row with a term that has no ID, and the index of its entry; the number of rows if there is
    /// none.
    struct Gap {
        size_t m_row;
        size_t m_entryIndex;
    };
    Gap findGap(std::span<const BatchEntry> entries) const noexcept;

    /// Appends the IDs of the first rows, 0 for the default graph.
    void appendIDs(size_t numberOfRows, std::span<const BatchEntry> entries, std::vector<uint64_t>& ids) const;

    /// Appends the IDs of all rows except those with a term without an ID.
    void appendIDsOfWholeRows(std::span<const BatchEntry> entries, std::vector<uint64_t>& ids) const;

    /// Clears the rows and keeps their memory.
    void clear() noexcept;

    /// Returns the stored rows, so that another object can take them over and append their IDs.
    std::span<const uint32_t> getCells() const noexcept { return m_cells; }
    void assignCells(const std::span<const uint32_t> cells) { m_cells.assign(cells.begin(), cells.end()); }

private:
    static constexpr uint32_t NO_ENTRY = std::numeric_limits<uint32_t>::max(); // of the default graph

    static uint64_t getID(uint32_t cell, std::span<const BatchEntry> entries) noexcept;
    uint32_t addTermOf(size_t column, const Rdf::Term& term, uint64_t document, uint64_t line, FormBatch& batch);

    const size_t m_numberOfColumns;
    DistinctTerms m_terms;
    std::vector<uint32_t> m_cells; // entries of the terms by their indexes, row by row
    std::array<uint32_t, 4> m_previous{NO_ENTRY, NO_ENTRY, NO_ENTRY, NO_ENTRY}; // by column
    std::string m_text;                                                         // buffer for a label or a triple term
    std::string m_form;
};

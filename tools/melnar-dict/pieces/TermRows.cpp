#include "tools/melnar-dict/pieces/TermRows.h"

#include "tools/melnar-dict/pieces/EngineTerm.h"

#include "Engine/core/data-store/terms/TermFamily.h"

#include <algorithm>

uint32_t TermRows::addTerm(const Rdf::Term& term, const uint64_t document, const uint64_t line, FormBatch& batch) {
    const Term engineTerm = toTerm(term, document, m_text);
    const uint8_t datatypeID = engineTerm.getDatatypeID();
    if (engineTerm.isTextTheForm())
        return m_terms.add(engineTerm.m_text, datatypeID, line, batch);
    m_form.clear();
    engineTerm.appendLexicalForm(m_form);
    return m_terms.add(m_form, datatypeID, line, batch);
}

/// Most statements share a term with the previous one. Such an IRI is not compared with the others.
uint32_t TermRows::addTermOf(const size_t column, const Rdf::Term& term, const uint64_t document, const uint64_t line,
                             FormBatch& batch) {
    uint32_t& previous = m_previous[column];
    if (term.m_kind == Rdf::TermKind::IRI && previous != NO_ENTRY) {
        const BatchEntry& entry = batch.getEntries()[previous];
        if (entry.m_datatypeID == D_IRI && entry.m_lexicalForm == term.m_text)
            return previous;
    }
    return previous = addTerm(term, document, line, batch);
}

void TermRows::add(const Rdf::Statement& statement, const uint64_t document, const uint64_t line, FormBatch& batch) {
    std::array<uint32_t, 4> cells{};
    cells[0] = addTermOf(0, statement.m_subject, document, line, batch);
    cells[1] = addTermOf(1, statement.m_predicate, document, line, batch);
    cells[2] = addTermOf(2, statement.m_object, document, line, batch);
    cells[3] = statement.m_graph.m_kind == Rdf::TermKind::NONE ? NO_ENTRY
                                                               : addTermOf(3, statement.m_graph, document, line, batch);
    // As one operation, so that no part of a row is left if memory is refused.
    m_cells.insert(m_cells.end(), cells.begin(), cells.begin() + m_numberOfColumns);
}

TermRows::Gap TermRows::findGap(const std::span<const BatchEntry> entries) const noexcept {
    const auto gap = std::find_if(m_cells.begin(), m_cells.end(), [entries](const uint32_t cell) {
        return cell != NO_ENTRY && entries[cell].m_resourceID == 0;
    });
    if (gap == m_cells.end())
        return {getNumberOfRows(), entries.size()};
    return {static_cast<size_t>(gap - m_cells.begin()) / m_numberOfColumns, *gap};
}

uint64_t TermRows::getID(const uint32_t cell, const std::span<const BatchEntry> entries) noexcept {
    return cell == NO_ENTRY ? 0 : entries[cell].m_resourceID;
}

void TermRows::appendIDs(const size_t numberOfRows, const std::span<const BatchEntry> entries,
                         std::vector<uint64_t>& ids) const {
    for (size_t index = 0; index < numberOfRows * m_numberOfColumns; ++index)
        ids.push_back(getID(m_cells[index], entries));
}

void TermRows::appendIDsOfWholeRows(const std::span<const BatchEntry> entries, std::vector<uint64_t>& ids) const {
    for (size_t begin = 0; begin < m_cells.size(); begin += m_numberOfColumns) {
        const size_t beginOfRow = ids.size();
        bool isWhole = true;
        for (const uint32_t cell : std::span(m_cells).subspan(begin, m_numberOfColumns)) {
            ids.push_back(getID(cell, entries));
            isWhole = isWhole && (cell == NO_ENTRY || ids.back() != 0);
        }
        if (!isWhole)
            ids.resize(beginOfRow);
    }
}

void TermRows::clear() noexcept {
    m_terms.clear();
    m_cells.clear();
    m_previous.fill(NO_ENTRY);
}

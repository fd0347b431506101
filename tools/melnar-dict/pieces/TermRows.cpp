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

/// Most statements share a term with the one before. An IRI that does needs no look at the others.
uint32_t TermRows::addTermOf(const size_t column, const Rdf::Term& term, const uint64_t document, const uint64_t line,
                             FormBatch& batch) {
    uint32_t& previous = m_previous[column];
    if (term.m_kind == Rdf::TermKind::IRI && previous != Cells::NO_ENTRY) {
        const BatchEntry& entry = batch.getEntries()[previous];
        if (entry.m_datatypeID == D_IRI && entry.m_lexicalForm == term.m_text)
            return previous;
    }
    return previous = addTerm(term, document, line, batch);
}

TermRows::Cells TermRows::add(const Rdf::Statement& statement, const uint64_t document, const uint64_t line,
                              FormBatch& batch) {
    Cells cells{};
    cells.m_subject = addTermOf(0, statement.m_subject, document, line, batch);
    cells.m_predicate = addTermOf(1, statement.m_predicate, document, line, batch);
    cells.m_object = addTermOf(2, statement.m_object, document, line, batch);
    cells.m_graph = statement.m_graph.m_kind == Rdf::TermKind::NONE
                        ? Cells::NO_ENTRY
                        : addTermOf(3, statement.m_graph, document, line, batch);
    if (m_numberOfColumns != 0)
        m_cells.insert(m_cells.end(), {cells.m_subject, cells.m_predicate, cells.m_object});
    if (m_numberOfColumns == 4)
        m_cells.push_back(cells.m_graph);
    return cells;
}

TermRows::Gap TermRows::findGap(const std::span<const BatchEntry> entries) const noexcept {
    const auto gap = std::find_if(m_cells.begin(), m_cells.end(), [entries](const uint32_t cell) {
        return cell != Cells::NO_ENTRY && entries[cell].m_resourceID == 0;
    });
    if (gap == m_cells.end())
        return {getNumberOfRows(), entries.size()};
    return {static_cast<size_t>(gap - m_cells.begin()) / m_numberOfColumns, *gap};
}

void TermRows::appendIDs(const size_t numberOfRows, const std::span<const BatchEntry> entries,
                         std::vector<uint64_t>& ids) const {
    for (size_t index = 0; index < numberOfRows * m_numberOfColumns; ++index)
        ids.push_back(m_cells[index] == Cells::NO_ENTRY ? 0 : entries[m_cells[index]].m_resourceID);
}

void TermRows::appendIDsOfWholeRows(const std::span<const BatchEntry> entries, std::vector<uint64_t>& ids) const {
    if (findGap(entries).m_row == getNumberOfRows()) {
        appendIDs(getNumberOfRows(), entries, ids);
        return;
    }
    for (size_t begin = 0; begin < m_cells.size(); begin += m_numberOfColumns) {
        const size_t beginOfRow = ids.size();
        bool isWhole = true;
        for (size_t column = 0; column < m_numberOfColumns; ++column) {
            const uint32_t cell = m_cells[begin + column];
            ids.push_back(cell == Cells::NO_ENTRY ? 0 : entries[cell].m_resourceID);
            isWhole = isWhole && (cell == Cells::NO_ENTRY || ids.back() != 0);
        }
        if (!isWhole)
            ids.resize(beginOfRow);
    }
}

void TermRows::clear() noexcept {
    m_terms.clear();
    m_cells.clear();
    m_previous.fill(Cells::NO_ENTRY);
}

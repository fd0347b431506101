#include "tools/melnar-dict/pieces/TermRows.h"

#include "tools/melnar-dict/pieces/EngineTerm.h"

#include <algorithm>

bool TermRows::isEntry(const uint32_t entryIndex, const uint8_t datatypeID,
                       const std::string_view form) const noexcept {
    if (entryIndex == NO_ENTRY || m_entries[entryIndex].m_datatypeID != datatypeID)
        return false;
    const size_t begin = entryIndex == 0 ? 0 : m_ends[entryIndex - 1];
    return std::string_view(m_bytes).substr(begin, m_ends[entryIndex] - begin) == form;
}

uint32_t TermRows::addTerm(const Rdf::Term& term, const uint64_t document, const size_t column) {
    const Term engineTerm = toTerm(term, document, m_text);
    const uint8_t datatypeID = engineTerm.getDatatypeID();
    uint32_t& previous = m_previous[column];
    if (engineTerm.isTextTheForm() && isEntry(previous, datatypeID, engineTerm.m_text))
        return previous;
    engineTerm.appendLexicalForm(m_bytes);
    m_ends.push_back(m_bytes.size());
    m_entries.push_back({{}, 0, datatypeID});
    return previous = static_cast<uint32_t>(m_entries.size() - 1);
}

void TermRows::add(const Rdf::Statement& statement, const uint64_t document, const uint64_t line) {
    m_cells.push_back(addTerm(statement.m_subject, document, 0));
    m_cells.push_back(addTerm(statement.m_predicate, document, 1));
    m_cells.push_back(addTerm(statement.m_object, document, 2));
    if (m_numberOfColumns == 4)
        m_cells.push_back(statement.m_graph.m_kind == Rdf::TermKind::NONE ? NO_ENTRY
                                                                          : addTerm(statement.m_graph, document, 3));
    m_lines.push_back(line);
}

std::span<BatchEntry> TermRows::getEntries() noexcept {
    size_t begin = 0;
    for (size_t index = 0; index < m_entries.size(); begin = m_ends[index++])
        m_entries[index].m_lexicalForm = std::string_view(m_bytes).substr(begin, m_ends[index] - begin);
    return m_entries;
}

TermRows::Gap TermRows::findGap() const noexcept {
    const auto gap = std::find_if(m_cells.begin(), m_cells.end(), [this](const uint32_t cell) {
        return cell != NO_ENTRY && m_entries[cell].m_resourceID == 0;
    });
    if (gap == m_cells.end())
        return {getNumberOfRows(), m_entries.size()};
    return {static_cast<size_t>(gap - m_cells.begin()) / m_numberOfColumns, *gap};
}

void TermRows::appendIDs(const size_t numberOfRows, std::vector<uint64_t>& ids) const {
    for (size_t index = 0; index < numberOfRows * m_numberOfColumns; ++index)
        ids.push_back(m_cells[index] == NO_ENTRY ? 0 : m_entries[m_cells[index]].m_resourceID);
}

void TermRows::clear() noexcept {
    m_entries.clear();
    m_ends.clear();
    m_bytes.clear();
    m_cells.clear();
    m_lines.clear();
    m_previous.fill(NO_ENTRY);
}

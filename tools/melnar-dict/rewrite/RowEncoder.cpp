#include "tools/melnar-dict/rewrite/RowEncoder.h"

#include "tools/melnar-dict/pieces/LiteralRefusal.h"
#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"

#include <algorithm>
#include <span>

const char* RowEncoder::take(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) {
    m_rows.add(statement, m_document, line, piece.m_terms);
    ++piece.m_counts.m_statements;
    return nullptr;
}

void RowEncoder::endBlock(ParsedPiece& piece) {
    m_bytes.clear();
    try {
        makeRows(piece);
    } catch (...) {
        m_output.write(piece.m_sequence, {}); // The others wait for this turn.
        throw;
    }
    m_output.write(piece.m_sequence, m_bytes);
}

/// A missing term comes before an error that ended the block.
void RowEncoder::makeRows(ParsedPiece& piece) {
    m_failures.clear();
    const std::span<BatchEntry> entries = piece.m_terms.getEntries();
    m_dictionary.tryResolveResources(entries, m_failures);
    const TermRows::Gap gap = m_rows.findGap(entries);
    if (gap.m_row != m_rows.getNumberOfRows())
        piece.m_errors.assign(1, {piece.m_terms.getLine(gap.m_entryIndex), ExitCode::BAD_DATA,
                                  describeGap(entries[gap.m_entryIndex], gap.m_entryIndex)});
    m_ids.clear();
    m_rows.appendIDs(gap.m_row, entries, m_ids);
    appendIDs(m_ids, m_layout.m_idWidth, m_bytes);
}

std::string RowEncoder::describeGap(const BatchEntry& entry, const size_t entryIndex) const {
    const auto failure = std::lower_bound(
        m_failures.begin(), m_failures.end(), entryIndex,
        [](const BatchFailure& candidate, const size_t index) { return candidate.m_entryIndex < index; });
    if (failure != m_failures.end() && failure->m_entryIndex == entryIndex)
        return causeOfRefusal(*failure);
    std::string cause = "the dictionary does not have ";
    appendTermText(entry.m_lexicalForm, entry.m_datatypeID, cause);
    return cause;
}

#include "tools/melnar-dict/rewrite/RowDecoder.h"

#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"

#include "Engine/core/data-store/terms/TermFamily.h"
#include "Reader/CanonicalWriter.h"

#include <array>
#include <limits>

namespace {

constexpr uint32_t NO_ENTRY = std::numeric_limits<uint32_t>::max(); // of the default graph

constexpr size_t GRAPH = 3;
constexpr std::array COLUMN_NAMES{"subject", "predicate", "object", "graph"};

const char* describeKind(const uint8_t datatypeID) noexcept {
    switch (datatypeID) {
    case D_IRI:
        return "an IRI";
    case D_BLANK_NODE:
        return "a blank node";
    case D_TRIPLE_TERM:
        return "a triple term";
    default:
        return "a literal";
    }
}

/// Returns whether a term of this kind is allowed in a column.
bool mayStandIn(const size_t column, const uint8_t datatypeID) noexcept {
    return column == 2 || datatypeID == D_IRI || (datatypeID == D_BLANK_NODE && column != 1);
}

} // namespace

void RowDecoder::decode(const RowReader& reader, const RowBlock& block, ParsedPiece& piece) {
    size_t row = 0;
    m_cause.clear();
    m_ids.clear();
    try {
        m_numberOfColumns = reader.getHeader().m_layout.m_columns;
        reader.takeIDs(block, m_ids);
        collectEntries();
        m_dictionary.getResources(m_entries);
        row = appendRows(0);
    } catch (...) {
        m_output.write(block.m_sequence, {}); // The others wait for this turn.
        throw;
    }
    m_output.writeInTurn(block.m_sequence, [&](OutputStream& output) {
        output.write(m_text.data(), m_text.size());
        while (m_cause.empty() && row * m_numberOfColumns < m_ids.size()) {
            row = appendRows(row);
            output.write(m_text.data(), m_text.size());
        }
    });
    piece.m_counts.m_statements += row;
    if (!m_cause.empty())
        piece.m_errors.push_back(
            {0, ExitCode::BAD_DATA, "row " + std::to_string(block.m_firstRow + row) + ": " + m_cause});
}

/// Gives each cell an entry. Most IDs that are in the previous row or that occurred recently share theirs.
void RowDecoder::collectEntries() {
    m_entries.clear();
    m_cells.resize(m_ids.size());
    for (size_t index = 0; index < m_ids.size(); ++index) {
        const uint64_t id = m_ids[index];
        if (id == 0 && index % m_numberOfColumns == GRAPH) {
            m_cells[index] = NO_ENTRY;
            continue;
        }
        uint32_t& entryIndex = m_recentEntries[id % m_recentEntries.size()];
        if (entryIndex >= m_entries.size() || m_entries[entryIndex].m_resourceID != id) {
            entryIndex = static_cast<uint32_t>(m_entries.size());
            m_entries.push_back({{}, id, D_INVALID});
        }
        m_cells[index] = entryIndex;
    }
}

/// Writes the text of rows from this one on to m_text: all, or as many as fit, or those before an error. Returns the
/// row after them.
size_t RowDecoder::appendRows(size_t row) {
    m_text.clear();
    m_places.assign(m_entries.size(), {});
    const size_t numberOfRows = m_ids.size() / m_numberOfColumns;
    while (row < numberOfRows && m_text.size() < MAXIMUM_TEXT) {
        const size_t begin = m_text.size();
        if (!appendRow(row)) {
            m_text.resize(begin);
            break;
        }
        ++row;
    }
    return row;
}

bool RowDecoder::appendRow(const size_t row) {
    for (size_t column = 0; column < m_numberOfColumns; ++column) {
        const uint32_t entryIndex = m_cells[row * m_numberOfColumns + column];
        if (entryIndex == NO_ENTRY)
            continue;
        if (column == GRAPH && !m_takesGraphs)
            return fail("the statement is in a named graph, which the output format cannot represent");
        if (isMisplaced(entryIndex, column) || !appendTerm(entryIndex))
            return false;
    }
    m_text += ".\n";
    return true;
}

bool RowDecoder::isMisplaced(const uint32_t entryIndex, const size_t column) {
    const BatchEntry& entry = m_entries[entryIndex];
    if (entry.m_datatypeID != D_INVALID && mayStandIn(column, entry.m_datatypeID)) [[likely]]
        return false;
    const std::string beginning = std::string("the ") + COLUMN_NAMES[column] + " is ";
    fail(entry.m_datatypeID == D_INVALID
             ? beginning + std::to_string(entry.m_resourceID) + ", and the dictionary has no resource with this ID"
             : beginning + "resource " + std::to_string(entry.m_resourceID) + ", " + describeKind(entry.m_datatypeID));
    return true;
}

bool RowDecoder::appendTerm(const uint32_t entryIndex) {
    Place& place = m_places[entryIndex];
    if (place.m_length != 0) {
        m_text.append(m_text, place.m_begin, place.m_length);
        return true;
    }
    place.m_begin = m_text.size();
    if (!appendEntry(m_entries[entryIndex]))
        return false;
    m_text += ' ';
    place.m_length = m_text.size() - place.m_begin;
    return true;
}

bool RowDecoder::appendEntry(const BatchEntry& entry) {
    const uint8_t datatypeID = entry.m_datatypeID;
    std::string_view form = entry.m_lexicalForm;
    const bool isIri = datatypeID == D_IRI;
    if (isIri || datatypeID == D_BLANK_NODE) { // has its form as it is
        m_text += isIri ? "<" : "_:";
        const size_t begin = m_text.size();
        if (entry.m_affixNumber != 0)
            m_text += m_dictionary.getAffix(entry);
        m_text += form;
        form = std::string_view(m_text).substr(begin);
    } else if (entry.m_affixNumber != 0) {
        m_form.clear();
        m_dictionary.appendLexicalForm(entry, m_form);
        form = m_form;
    }
    if (const char* const flaw = findTermFlaw(form, datatypeID))
        return fail("resource " + std::to_string(entry.m_resourceID) + " cannot be written: " + flaw);
    if (isIri)
        m_text += '>';
    else if (datatypeID == D_TRIPLE_TERM)
        m_text += form;
    else if (datatypeID != D_BLANK_NODE)
        Rdf::CanonicalWriter::appendTerm(toRdfLiteral(Term::parse(datatypeID, form)), m_text,
                                         Rdf::CanonicalWriter::Tags::AS_WRITTEN);
    return true;
}

bool RowDecoder::fail(const std::string& cause) {
    m_cause = cause;
    return false;
}

#include "tools/melnar-dict-mpi/ReadPiece.h"

#include "tools/melnar-dict-mpi/Bytes.h"

#include <span>
#include <utility>
#include <vector>

void ReadPiece::appendSummaryTo(std::string& bytes) const {
    appendValue(m_place.m_slice, bytes);
    appendValue(m_place.m_isLast, bytes);
    appendValue(m_parsed.m_numberOfLineEnds, bytes);
    appendValue(m_parsed.m_counts, bytes);
    appendValue(m_parsed.m_errors.size(), bytes);
    for (const InputError& error : m_parsed.m_errors) {
        appendValue(error.m_line, bytes);
        appendValue(error.m_exitCode, bytes);
        appendText(error.m_cause, bytes);
        appendValue(error.m_column, bytes);
        appendValue(error.m_termsBefore, bytes);
    }
    appendValue(m_parsed.m_hasUntoldError, bytes);
    appendText(m_parsed.m_rejected, bytes);
    appendValue(m_parsed.m_endsRejectedLine, bytes);
}

void ReadPiece::takeSummary(std::string_view& bytes) {
    clear(takeValue<uint64_t>(bytes));
    m_place.m_isLast = takeValue<bool>(bytes);
    m_parsed.m_numberOfLineEnds = takeValue<uint64_t>(bytes);
    m_parsed.m_counts = takeValue<StatementCounts>(bytes);
    for (size_t number = takeValue<size_t>(bytes); number != 0; --number) {
        InputError error{takeValue<uint64_t>(bytes), takeValue<ExitCode>(bytes), std::string(takeText(bytes))};
        error.m_column = takeValue<uint64_t>(bytes);
        error.m_termsBefore = takeValue<size_t>(bytes);
        m_parsed.m_errors.push_back(std::move(error));
    }
    m_parsed.m_hasUntoldError = takeValue<bool>(bytes);
    m_parsed.m_rejected = takeText(bytes);
    m_parsed.m_endsRejectedLine = takeValue<bool>(bytes);
}

void ReadPiece::appendTo(std::string& bytes) const {
    appendSummaryTo(bytes);
    const std::span<const BatchEntry> terms = m_parsed.m_terms.getEntries();
    appendValue(terms.size(), bytes);
    for (size_t index = 0; index < terms.size(); ++index) {
        appendValue(m_parsed.m_terms.getLine(index), bytes);
        appendValue(terms[index].m_datatypeID, bytes);
        appendText(terms[index].m_lexicalForm, bytes);
    }
    const std::span<const uint32_t> cells = m_rows.getCells();
    appendText({reinterpret_cast<const char*>(cells.data()), cells.size_bytes()}, bytes);
}

void ReadPiece::take(std::string_view& bytes) {
    takeSummary(bytes);
    for (size_t number = takeValue<size_t>(bytes); number != 0; --number) {
        const auto line = takeValue<uint64_t>(bytes);
        const auto datatypeID = takeValue<uint8_t>(bytes);
        m_parsed.m_terms.append(takeText(bytes), datatypeID, line);
    }
    const std::string_view cells = takeText(bytes);
    std::vector<uint32_t> aligned(cells.size() / sizeof(uint32_t));
    cells.copy(reinterpret_cast<char*>(aligned.data()), cells.size());
    m_rows.assignCells(aligned);
}

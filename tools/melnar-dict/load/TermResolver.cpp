#include "tools/melnar-dict/load/TermResolver.h"

#include "tools/melnar-dict/load/LiteralResolver.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include "Engine/core/data-store/Dictionary.h"

#include <limits>
#include <span>

TermResolver::TermResolver(Dictionary& dictionary, const Settings& settings)
    : m_dictionary(dictionary), m_settings(settings) {
    if (m_settings.m_order == Order::INPUT)
        m_creator.emplace(m_dictionary);
    if (m_settings.m_rowStream != nullptr)
        m_rowOutput.emplace(*m_settings.m_rowStream);
}

void TermResolver::startFile() noexcept {
    m_turns.startOver();
    if (m_rowOutput)
        m_rowOutput->startOver();
}

std::string TermResolver::getCauseOfRefusal(BatchEntry literal) const {
    std::vector<BatchFailure> failures;
    m_dictionary.tryResolveResources(m_dictionary.getCommitPoint(), {&literal, 1}, failures);
    return causeOfRefusal(failures.at(0));
}

void TermResolver::resolve(const Rows& rows, Thread& thread, ParsedPiece& piece) {
    if (m_creator)
        resolveInOrder(thread, piece);
    else
        resolveLiterals(m_dictionary, thread.m_dictionaryThread, m_settings.m_isLenient, piece);
    if (!m_rowOutput)
        return;
    thread.m_bytes.clear();
    try {
        makeBytes(rows, piece, thread);
    } catch (...) {
        thread.m_bytes.clear();
        piece.m_errors.push_back(inputErrorOfCurrentException());
    }
    m_rowOutput->write(piece.m_sequence, thread.m_bytes);
}

/// Takes the piece's turn, whatever fails.
void TermResolver::resolveInOrder(Thread& thread, ParsedPiece& piece) {
    try {
        findUnknown(thread, piece);
    } catch (...) {
        thread.m_unknown.clear();
        thread.m_indexes.clear();
        piece.m_errors.push_back(inputErrorOfCurrentException());
    }
    m_turns.take(piece.m_sequence, [&] { createUnknown(thread, piece); });
    const std::span<BatchEntry> entries = piece.m_literals.getEntries();
    for (size_t number = 0; number < thread.m_unknown.size(); ++number)
        entries[thread.m_indexes[number]].m_resourceID = thread.m_unknown[number].m_resourceID;
}

/// Looks all terms up; collects those that are not there, and those that are refused.
void TermResolver::findUnknown(Thread& thread, ParsedPiece& piece) const {
    thread.m_unknown.clear();
    thread.m_indexes.clear();
    thread.m_failures.clear();
    const std::span<BatchEntry> entries = piece.m_literals.getEntries();
    m_dictionary.tryResolveResources({std::numeric_limits<uint64_t>::max()}, entries, thread.m_failures);
    for (size_t index = 0; index < entries.size(); ++index)
        if (entries[index].m_resourceID == 0) {
            thread.m_unknown.push_back(entries[index]);
            thread.m_indexes.push_back(index);
        }
}

void TermResolver::createUnknown(Thread& thread, ParsedPiece& piece) {
    const DictionaryThread::Loan loan(*m_creator);
    resolveEntries(m_dictionary, *m_creator, m_settings.m_isLenient, thread.m_unknown, thread.m_indexes, piece);
}

/// Leaves the rows of statements out in which a term was refused.
void TermResolver::makeBytes(const Rows& rows, const ParsedPiece& piece, Thread& thread) const {
    const std::span<const BatchEntry> entries = piece.m_literals.getEntries();
    const size_t numberOfColumns = m_settings.m_rowLayout.m_columns;
    std::vector<uint64_t>& ids = thread.m_ids;
    ids.resize(rows.size());
    size_t end = 0;
    for (size_t begin = 0; begin < rows.size(); begin += numberOfColumns) {
        bool isWhole = true;
        for (size_t column = 0; column < numberOfColumns; ++column) {
            const uint32_t index = rows[begin + column];
            const uint64_t resourceID = index == NO_TERM ? 0 : entries[index].m_resourceID;
            isWhole = isWhole && (index == NO_TERM || resourceID != 0);
            ids[end + column] = resourceID;
        }
        end += isWhole ? numberOfColumns : 0;
    }
    appendIDs({ids.data(), end}, m_settings.m_rowLayout.m_idWidth, thread.m_bytes);
}

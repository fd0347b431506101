#include "tools/melnar-dict/load/DictionaryResolver.h"

#include "tools/melnar-dict/load/BatchResolver.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include "Engine/core/data-store/Dictionary.h"

#include <span>

struct DictionaryResolver::OwnThread final : Thread {
    explicit OwnThread(Dictionary& dictionary) : m_dictionaryThread(dictionary) {}

    DictionaryThread m_dictionaryThread;
    std::vector<BatchEntry> m_unknown;
    std::vector<size_t> m_indexes; // of those, in the batch
    std::vector<BatchFailure> m_failures;
    std::vector<uint64_t> m_ids;
    std::string m_bytes; // of rows
};

DictionaryResolver::DictionaryResolver(Dictionary& dictionary, const Settings& settings)
    : m_dictionary(dictionary), m_settings(settings) {
    if (m_settings.m_order == Order::INPUT)
        m_creator.emplace(m_dictionary);
    if (m_settings.m_rowStream != nullptr)
        m_rowOutput.emplace(*m_settings.m_rowStream);
}

std::unique_ptr<TermResolver::Thread> DictionaryResolver::makeThread() {
    return std::make_unique<OwnThread>(m_dictionary);
}

void DictionaryResolver::startFile() noexcept {
    m_turns.startOver();
    if (m_rowOutput)
        m_rowOutput->startOver();
}

std::string DictionaryResolver::getCauseOfRefusal(BatchEntry literal) const {
    std::vector<BatchFailure> failures;
    m_dictionary.tryResolveResources(m_dictionary.getCommitPoint(), {&literal, 1}, failures);
    return causeOfRefusal(failures.at(0));
}

void DictionaryResolver::resolve(const TermRows& rows, Thread& anyThread, ParsedPiece& piece) {
    auto& thread = static_cast<OwnThread&>(anyThread); // one of makeThread's
    if (!m_rowOutput) {
        resolveTerms(thread, piece);
        return;
    }
    thread.m_bytes.clear();
    try {
        resolveTerms(thread, piece);
        makeBytes(rows, piece, thread);
    } catch (...) {
        m_rowOutput->write(piece.m_sequence, {}); // The others wait for this turn.
        throw;
    }
    m_rowOutput->write(piece.m_sequence, thread.m_bytes);
}

void DictionaryResolver::resolveTerms(OwnThread& thread, ParsedPiece& piece) {
    if (!m_creator) {
        resolveBatch(m_dictionary, thread.m_dictionaryThread, m_settings.m_isLenient, piece);
        return;
    }
    try {
        findUnknown(thread, piece);
    } catch (...) {
        m_turns.take(piece.m_sequence, [] {}); // the others wait for it
        throw;
    }
    m_turns.take(piece.m_sequence, [&] { createUnknown(thread, piece); });
}

/// Looks all terms up; collects those that are missing, and those that are refused.
void DictionaryResolver::findUnknown(OwnThread& thread, ParsedPiece& piece) const {
    thread.m_unknown.clear();
    thread.m_indexes.clear();
    thread.m_failures.clear();
    const std::span<BatchEntry> entries = piece.m_terms.getEntries();
    m_dictionary.tryResolveResources(DictionaryCommitPoint::ALL, entries, thread.m_failures);
    for (size_t index = 0; index < entries.size(); ++index)
        if (entries[index].m_resourceID == 0) {
            thread.m_unknown.push_back(entries[index]);
            thread.m_indexes.push_back(index);
        }
}

void DictionaryResolver::createUnknown(OwnThread& thread, ParsedPiece& piece) {
    const DictionaryThread::Loan loan(*m_creator);
    resolveEntries(m_dictionary, *m_creator, m_settings.m_isLenient, thread.m_unknown, thread.m_indexes, piece);
    const std::span<BatchEntry> entries = piece.m_terms.getEntries();
    for (size_t number = 0; number < thread.m_unknown.size(); ++number)
        entries[thread.m_indexes[number]].m_resourceID = thread.m_unknown[number].m_resourceID;
}

void DictionaryResolver::makeBytes(const TermRows& rows, const ParsedPiece& piece, OwnThread& thread) const {
    thread.m_ids.clear();
    rows.appendIDsOfWholeRows(piece.m_terms.getEntries(), thread.m_ids);
    appendIDs(thread.m_ids, m_settings.m_rowLayout.m_idWidth, thread.m_bytes);
}

#include "tools/melnar-dict/load/ShardResolver.h"

#include "tools/melnar-dict/load/BatchResolver.h"
#include "tools/melnar-dict/load/ShardSpill.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/sharded/ShardedBatch.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"

#include <algorithm>
#include <exception>
#include <span>
#include <utility>
#include <vector>

struct ShardResolver::OwnThread final : Thread {
    ThreadContextRegistration m_registration;
    ShardedBatch m_batch;
    std::vector<BatchFailure> m_failures;
    std::vector<BatchFailure> m_failuresOfShard;
    std::vector<std::pair<size_t, uint8_t>> m_unknown; // terms of the batch by their indexes, and their shards
    std::vector<uint8_t> m_shardsOfUnknown;
    std::vector<uint64_t> m_cells;
    std::string m_bytes; // of rows
};

ShardResolver::ShardResolver(ShardedDictionary& dictionary, ShardSpill& spill, const Settings& settings)
    : m_dictionary(dictionary), m_spill(spill), m_settings(settings),
      m_creator(std::make_unique<ShardedDictionaryThread>(dictionary)) {
    if (m_settings.m_rowStream != nullptr)
        m_rowOutput.emplace(*m_settings.m_rowStream);
}

ShardResolver::~ShardResolver() = default;

std::unique_ptr<TermResolver::Thread> ShardResolver::makeThread() {
    return std::make_unique<OwnThread>();
}

void ShardResolver::startFile() noexcept {
    for (Turns& turns : m_turns)
        turns.startOver();
    if (m_rowOutput)
        m_rowOutput->startOver();
}

std::string ShardResolver::getCauseOfRefusal(BatchEntry literal) const {
    std::vector<BatchFailure> failures;
    m_dictionary.tryResolveResources({&literal, 1}, failures);
    return causeOfRefusal(failures.at(0));
}

void ShardResolver::resolve(const TermRows& rows, Thread& anyThread, ParsedPiece& piece) {
    auto& thread = static_cast<OwnThread&>(anyThread); // one of makeThread's
    try {
        resolveTerms(thread, piece);
        if (m_rowOutput) {
            numberUnknown(thread, piece);
            rows.appendIDsOfWholeRows(piece.m_terms.getEntries(), thread.m_cells);
        }
    } catch (...) {
        if (m_rowOutput)
            m_rowOutput->write(piece.m_sequence, {}); // The others wait for this turn.
        throw;
    }
    if (m_rowOutput)
        m_rowOutput->writeInTurn(piece.m_sequence, [&](OutputStream& output) { writeRows(thread, output); });
}

/// Takes every turn, whatever happens: the others wait for it.
void ShardResolver::resolveTerms(OwnThread& thread, ParsedPiece& piece) {
    std::exception_ptr failure;
    const auto attempt = [&failure](const auto& action) {
        try {
            if (failure == nullptr)
                action();
        } catch (...) {
            failure = std::current_exception();
        }
    };
    thread.m_failures.clear();
    thread.m_unknown.clear();
    attempt([&] { thread.m_batch.assignTerms(piece.m_terms.getEntries()); });
    for (uint32_t group = 0; group < NUMBER_OF_GROUPS; ++group)
        m_turns[group].take(piece.m_sequence, [&] {
            attempt([&] {
                for (uint32_t shard = group * SHARDS_OF_A_GROUP; shard < (group + 1) * SHARDS_OF_A_GROUP; ++shard)
                    resolveShard(shard, thread, piece);
            });
        });
    if (failure != nullptr)
        std::rethrow_exception(failure);
    addFailures(thread.m_failures, piece);
}

/// In the turn of the block.
void ShardResolver::resolveShard(const uint32_t shard, OwnThread& thread, ParsedPiece& piece) {
    const std::span<BatchEntry> part = thread.m_batch.getPart(shard);
    if (part.empty())
        return;
    thread.m_failuresOfShard.clear();
    if (!m_isFull.load(std::memory_order_relaxed) && m_dictionary.getMemoryInUse() > m_settings.m_largestMemory)
        m_isFull.store(true, std::memory_order_relaxed);
    Dictionary& dictionary = m_dictionary.getOrMakeShard(shard);
    if (m_isFull.load(std::memory_order_relaxed)) {
        dictionary.tryResolveResources(BEHIND_ALL_RESOURCES, part, thread.m_failuresOfShard);
        auto failure = thread.m_failuresOfShard.begin();
        for (size_t number = 0; number < part.size(); ++number)
            if (failure != thread.m_failuresOfShard.end() && failure->m_entryIndex == number)
                ++failure;
            else if (part[number].m_resourceID == 0) {
                m_spill.addTerm(shard, part[number]);
                thread.m_unknown.emplace_back(thread.m_batch.getIndex(shard, number), shard);
            }
    } else {
        const DictionaryThread::Loan loan(m_creator->getThread(shard));
        dictionary.resolveResources(m_creator->getThread(shard), part, thread.m_failuresOfShard);
    }
    thread.m_batch.copyAnswers(shard, piece.m_terms.getEntries());
    thread.m_batch.appendFailures(shard, thread.m_failuresOfShard, thread.m_failures);
}

/// Gives unknown terms their numbers in the order of the batch, in which those of a shard were put aside.
void ShardResolver::numberUnknown(OwnThread& thread, ParsedPiece& piece) const {
    std::ranges::sort(thread.m_unknown);
    thread.m_shardsOfUnknown.clear();
    thread.m_cells.clear();
    for (const auto& [index, shard] : thread.m_unknown) {
        piece.m_terms.getEntries()[index].m_resourceID = ShardSpill::UNKNOWN | thread.m_shardsOfUnknown.size();
        thread.m_shardsOfUnknown.push_back(shard);
    }
}

/// In the turn of the block. Behind rows that were put aside, all are.
void ShardResolver::writeRows(OwnThread& thread, OutputStream& output) {
    if (!thread.m_shardsOfUnknown.empty() || m_spill.hasRows()) {
        m_spill.addRows(thread.m_shardsOfUnknown, thread.m_cells);
        return;
    }
    thread.m_bytes.clear();
    appendIDs(thread.m_cells, m_settings.m_rowLayout.m_idWidth, thread.m_bytes);
    output.write(thread.m_bytes.data(), thread.m_bytes.size());
}

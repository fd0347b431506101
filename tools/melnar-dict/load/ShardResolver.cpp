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

using namespace melnar;

struct ShardResolver::OwnThread final : Thread {
    ShardedBatch m_batch;
    std::vector<BatchFailure> m_failures;
    std::vector<BatchFailure> m_failuresOfShard;
    std::vector<std::pair<size_t, uint8_t>> m_unknown; // terms of the batch by their indexes, and their shards
    std::vector<uint8_t> m_shardsOfUnknown;
    std::vector<uint64_t> m_cells; // of rows
};

ShardResolver::ShardResolver(ShardedDictionary& dictionary, ShardSpill& spill, const LoadWork& work, Settings settings)
    : m_dictionary(dictionary), m_spill(spill), m_settings(std::move(settings)), m_work(work),
      m_creator(work.m_isFull ? nullptr : std::make_unique<ShardedDictionaryThread>(dictionary)),
      m_isFull(work.m_isFull) {}

ShardResolver::~ShardResolver() = default;

std::unique_ptr<TermResolver::Thread> ShardResolver::makeThread() {
    return std::make_unique<OwnThread>();
}

void ShardResolver::startFile() noexcept {
    for (Turns& turns : m_turns)
        turns.startOver();
    m_rowTurns.startOver();
    m_numberOfEndedPieces = 0;
    ++m_fileIndex;
}

std::string ShardResolver::getCauseOfRefusal(BatchEntry literal) const {
    std::vector<BatchFailure> failures;
    m_dictionary.tryResolveResources({&literal, 1}, failures);
    return causeOfRefusal(failures.at(0));
}

/// Returns whether an interrupted load has done the piece.
bool ShardResolver::isDone(const ParsedPiece& piece) const noexcept {
    return m_fileIndex - 1 < m_work.m_fileIndex ||
           (m_fileIndex - 1 == m_work.m_fileIndex && piece.m_sequence < m_work.m_blockIndex);
}

/// Returns whether the piece has been loaded completely.
bool ShardResolver::isWholePiece(const ParsedPiece& piece) const noexcept {
    return !piece.m_hasUntoldError && std::ranges::all_of(piece.m_errors, [this](const InputError& error) {
        return m_settings.m_isLenient && error.m_exitCode == ExitCode::BAD_DATA;
    });
}

void ShardResolver::resolve(const TermRows& rows, Thread& anyThread, ParsedPiece& piece) {
    auto& thread = static_cast<OwnThread&>(anyThread); // one of makeThread's
    bool isWhole = false;
    try {
        resolveTerms(thread, piece);
        numberUnknown(thread, piece);
        if (m_settings.m_numberOfColumns != 0)
            rows.appendIDsOfWholeRows(piece.m_terms.getEntries(), thread.m_cells);
        isWhole = isWholePiece(piece);
    } catch (...) {
        m_rowTurns.take(piece.m_sequence, [] {}); // the others wait for it
        endPiece(false);
        throw;
    }
    try {
        m_rowTurns.take(piece.m_sequence, [&] {
            if (m_settings.m_numberOfColumns != 0 && !isDone(piece))
                m_spill.addRows(thread.m_shardsOfUnknown, thread.m_cells);
        });
    } catch (...) {
        endPiece(false);
        throw;
    }
    endPiece(isWhole);
}

void ShardResolver::endPiece(const bool isWhole) {
    const std::lock_guard guard(m_endMutex);
    ++m_numberOfEndedPieces;
    m_hasFailed = m_hasFailed || !isWhole;
    m_end.notify_all();
}

/// In the turn of the block, so that no later one has started; all earlier ones have.
void ShardResolver::saveIfDue(const ParsedPiece& piece) {
    if (isDone(piece) || !m_settings.m_isSaveDue())
        return;
    {
        std::unique_lock lock(m_endMutex);
        m_end.wait(lock, [&] { return m_numberOfEndedPieces == piece.m_sequence; });
        if (m_hasFailed)
            return;
    }
    m_work.m_fileIndex = m_fileIndex - 1;
    m_work.m_blockIndex = piece.m_sequence;
    m_work.m_isFull = m_isFull.load(std::memory_order_relaxed);
    m_settings.m_save(m_work);
}

/// Takes every turn, also after a failure: the others wait for it.
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
                if (group == 0)
                    saveIfDue(piece);
                for (uint32_t shard = group * SHARDS_OF_A_GROUP; shard < (group + 1) * SHARDS_OF_A_GROUP; ++shard)
                    resolveShard(shard, thread, piece);
            });
        });
    if (failure != nullptr)
        std::rethrow_exception(failure);
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        thread.m_batch.copyAnswers(shard, piece.m_terms.getEntries());
    addFailures(thread.m_failures, piece);
}

/// In the turn of the block.
void ShardResolver::resolveShard(const uint32_t shard, OwnThread& thread, const ParsedPiece& piece) {
    const std::span<BatchEntry> part = thread.m_batch.getPart(shard);
    if (part.empty() || isDone(piece))
        return;
    thread.m_failuresOfShard.clear();
    if (!m_isFull.load(std::memory_order_relaxed) && m_dictionary.getMemoryInUse() > m_settings.m_largestMemory)
        m_isFull.store(true, std::memory_order_relaxed);
    if (m_isFull.load(std::memory_order_relaxed)) {
        // Terms that are not in memory are unknown: to read their shard would need memory that is not available.
        m_dictionary.getShardInMemory(shard).tryResolveResources(DictionaryCommitPoint::ALL, part,
                                                                 thread.m_failuresOfShard);
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
        m_dictionary.getOrMakeShard(shard).resolveResources(m_creator->getThread(shard), part,
                                                            thread.m_failuresOfShard);
    }
    thread.m_batch.appendFailures(shard, thread.m_failuresOfShard, thread.m_failures);
}

/// Numbers unknown terms in the order of the batch, in which those of a shard were spilled.
void ShardResolver::numberUnknown(OwnThread& thread, ParsedPiece& piece) const {
    std::ranges::sort(thread.m_unknown);
    thread.m_shardsOfUnknown.clear();
    thread.m_cells.clear();
    for (const auto& [index, shard] : thread.m_unknown) {
        piece.m_terms.getEntries()[index].m_resourceID = ShardSpill::UNKNOWN | thread.m_shardsOfUnknown.size();
        thread.m_shardsOfUnknown.push_back(shard);
    }
}

#pragma once

#include "tools/melnar-dict/load/LoadWork.h"
#include "tools/melnar-dict/load/TermResolver.h"
#include "tools/melnar-dict/threads/Turns.h"

#include "Engine/core/data-store/sharded/ShardLayout.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace melnar {
class ShardedBatch;
} // namespace melnar

class ShardSpill;
class ShardedDictionary;
class ShardedDictionaryThread;

/// Resolves terms in a dictionary of shards. The terms of each shard get their IDs in the order of the input, with any
/// number of threads: threads use a group of shards in the order of their blocks, and different groups concurrently.
///
/// When the dictionary has reached its memory limit, no shard takes new terms any more: unknown terms are spilled from
/// then on; see ShardSpill, which gives each term the ID that it would have got here. All rows are spilled.
///
/// Blocks that an interrupted load has done are skipped. Between two blocks, the load can be saved.
///
/// Ownership  Refers to what it is given, which outlives it.
/// Threads    As TermResolver.
/// Errors     As TermResolver.
class ShardResolver final : public TermResolver {
public:
    /// The size of the input's blocks, in bytes. A shard gets a part of a block, which should still be large enough for
    /// the dictionary to work at full speed.
    static constexpr size_t BLOCK_SIZE = size_t(1) << 20;

    struct Settings {
        size_t m_largestMemory = ~size_t(0); // that the dictionary may use before terms are spilled
        size_t m_numberOfColumns = 0;        // of the rows; 0 for no rows
        bool m_isLenient = false;            // continues after bad data

        // Called before each block. If it returns true, `m_save` is called with the progress of the load, as soon as
        // all blocks before this one are done, and before another one starts.
        std::function<bool()> m_isSaveDue = [] { return false; };
        std::function<void(LoadWork& work)> m_save = [](LoadWork&) {};
    };

    /// Starts where the work says.
    ShardResolver(ShardedDictionary& dictionary, ShardSpill& spill, const LoadWork& work, Settings settings);
    ~ShardResolver() override;

    std::unique_ptr<Thread> makeThread() override;
    void startFile() noexcept override;
    size_t getNumberOfColumns() const noexcept override { return m_settings.m_numberOfColumns; }
    std::string getCauseOfRefusal(BatchEntry literal) const override;
    void resolve(const TermRows& rows, Thread& thread, ParsedPiece& piece) override;

private:
    struct OwnThread;

    static constexpr uint32_t SHARDS_OF_A_GROUP = 16;
    static constexpr uint32_t NUMBER_OF_GROUPS = ShardLayout::NUMBER_OF_SHARDS / SHARDS_OF_A_GROUP;

    bool isDone(const ParsedPiece& piece) const noexcept;
    bool isWholePiece(const ParsedPiece& piece) const noexcept;
    void saveIfDue(const ParsedPiece& piece);
    void resolveTerms(OwnThread& thread, ParsedPiece& piece);
    void resolveShard(uint32_t shard, OwnThread& thread, const ParsedPiece& piece);
    void numberUnknown(OwnThread& thread, ParsedPiece& piece) const;
    void endPiece(bool isWhole);

    ShardedDictionary& m_dictionary;
    ShardSpill& m_spill;
    const Settings m_settings;
    LoadWork m_work;                                    // as at the start, or at the last save
    std::unique_ptr<ShardedDictionaryThread> m_creator; // of all terms; null if there will be no terms
    uint64_t m_fileIndex = 0;                           // of the current file + 1
    std::atomic<bool> m_isFull; // never becomes false again; each shard notices it in a thread's turn
    std::array<Turns, NUMBER_OF_GROUPS>
        m_turns; // of the threads that use a group; those of the first group are also used for blocks
    Turns m_rowTurns;
    std::mutex m_endMutex;              // protects what follows
    std::condition_variable m_end;      // of a piece
    uint64_t m_numberOfEndedPieces = 0; // of the file
    bool m_hasFailed = false;           // something is missing: nothing may be saved from now on
};

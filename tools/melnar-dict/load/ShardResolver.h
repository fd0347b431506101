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

class ShardSpill;
class ShardedBatch;
class ShardedDictionary;
class ShardedDictionaryThread;

/// Resolves terms in a dictionary of shards. The terms of each shard get their IDs in the order of the input, with any
/// number of threads: these come to a group of shards in the order of their blocks, and are at different groups meanwhile.
///
/// From the moment when the dictionary has as much memory as it may, no shard takes new terms: what is unknown then is
/// put aside; see ShardSpill, which gives each term the ID it would have got here. All rows are put aside.
///
/// Blocks that an interrupted load has done are passed over. Between two blocks, the load can be saved as it stands.
///
/// Ownership  Refers to what it is given, which outlives it.
/// Threads    As TermResolver.
/// Errors     As TermResolver.
class ShardResolver final : public TermResolver {
public:
    /// Of the input's blocks, in bytes. A shard gets a part of a block, which should still be large enough for the
    /// dictionary to work at full speed.
    static constexpr size_t BLOCK_SIZE = size_t(1) << 20;

    struct Settings {
        size_t m_largestMemory = ~size_t(0); // that the dictionary may use before terms are put aside
        size_t m_numberOfColumns = 0;        // of the rows; none for no rows
        bool m_isLenient = false;            // goes on behind bad data

        // Asked before each block; if it says so, `m_save` is called with how far the load has come, as soon as all
        // blocks before it are done, and before another one begins.
        std::function<bool()> m_isSaveDue = [] { return false; };
        std::function<void(LoadWork& work)> m_save = [](LoadWork&) {};
    };

    /// Goes on where the work says.
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
    LoadWork m_work;                                    // as it was when this began, or was saved last
    std::unique_ptr<ShardedDictionaryThread> m_creator; // of all terms; null if there will be none
    uint64_t m_fileIndex = 0;                           // of the current file + 1
    std::atomic<bool> m_isFull;                         // only grows true; each shard notices it in somebody's turn
    std::array<Turns, NUMBER_OF_GROUPS> m_turns; // of those who use a group; the first group's are of the blocks, too
    Turns m_rowTurns;
    std::mutex m_endMutex;              // protects what follows
    std::condition_variable m_end;      // of a piece
    uint64_t m_numberOfEndedPieces = 0; // of the file
    bool m_hasFailed = false;           // something is missing: nothing may be saved from here on
};

#pragma once

#include "tools/melnar-dict/load/TermResolver.h"
#include "tools/melnar-dict/rows/RowLayout.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"
#include "tools/melnar-dict/threads/Turns.h"

#include "Engine/core/data-store/sharded/ShardLayout.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

class ShardSpill;
class ShardedBatch;
class ShardedDictionary;
class ShardedDictionaryThread;

/// Resolves terms in a dictionary of shards. The terms of each shard get their IDs in the order of the input, with any
/// number of threads: these come to a group of shards in the order of their blocks, and are at different groups meanwhile.
///
/// From the moment when the dictionary has as much memory as it may, no shard takes new terms: what is unknown then is
/// put aside, and so are the rows from there on. See ShardSpill, which gives each term the ID it would have got here.
///
/// Ownership  Refers to what it is given, which outlives it.
/// Threads    As TermResolver.
/// Errors     As TermResolver.
class ShardResolver final : public TermResolver {
public:
    struct Settings {
        size_t m_largestMemory = ~size_t(0); // that the dictionary may use before terms are put aside
        OutputStream* m_rowStream = nullptr; // nothing for no rows
        RowLayout m_rowLayout{};
    };

    ShardResolver(ShardedDictionary& dictionary, ShardSpill& spill, const Settings& settings);
    ~ShardResolver() override;

    std::unique_ptr<Thread> makeThread() override;
    void startFile() noexcept override;
    size_t getNumberOfColumns() const noexcept override {
        return m_settings.m_rowStream == nullptr ? 0 : m_settings.m_rowLayout.m_columns;
    }
    std::string getCauseOfRefusal(BatchEntry literal) const override;
    void resolve(const TermRows& rows, Thread& thread, ParsedPiece& piece) override;

private:
    struct OwnThread;

    static constexpr uint32_t SHARDS_OF_A_GROUP = 16;
    static constexpr uint32_t NUMBER_OF_GROUPS = ShardLayout::NUMBER_OF_SHARDS / SHARDS_OF_A_GROUP;

    void resolveTerms(OwnThread& thread, ParsedPiece& piece);
    void resolveShard(uint32_t shard, OwnThread& thread, ParsedPiece& piece);
    void numberUnknown(OwnThread& thread, ParsedPiece& piece) const;
    void writeRows(OwnThread& thread, OutputStream& output);

    ShardedDictionary& m_dictionary;
    ShardSpill& m_spill;
    const Settings m_settings;
    std::unique_ptr<ShardedDictionaryThread> m_creator; // of all terms
    std::atomic<bool> m_isFull = false;                 // only grows true; each shard notices it in somebody's turn
    std::array<Turns, NUMBER_OF_GROUPS> m_turns;        // of those who use a group
    std::optional<OrderedOutput> m_rowOutput;
};

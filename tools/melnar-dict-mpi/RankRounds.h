#pragma once

#include "tools/melnar-dict-mpi/PieceQueue.h"
#include "tools/melnar-dict-mpi/RankExchange.h"
#include "tools/melnar-dict-mpi/Ranks.h"
#include "tools/melnar-dict-mpi/SliceFrontier.h"
#include "tools/melnar-dict-mpi/SliceReader.h"
#include "tools/melnar-dict-mpi/TermCache.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// Gives the terms of an input that all ranks read their IDs, in rounds. Each shard is owned by a rank, the rank with its
/// number modulo the number of ranks, which alone has its terms. A round takes the next pieces of the input, whichever ranks
/// have read them:
///
///  1. Each rank sends to each owner the terms that its pieces have in the owner's shards, each once for a piece, but for
///     those whose ID its cache has.
///  2. Each owner resolves what has come in the order of the pieces, and sends the IDs back.
///  3. Each rank makes the rows of its pieces, and sends the summaries of them to the first rank, which keeps the journal.
///
/// Rounds overlap: while the terms of a round are on their way, those of the one before are resolved, and meanwhile a thread
/// of each rank reads ahead. What a shard gets, and in which order, is what one process would give it.
///
/// A rank that fails takes part in the round as if it had nothing, and tells it in the next one, so that all end together.
///
/// Ownership  Refers to all that it is given, which outlives it.
/// Threads    That of the ranks.
/// Errors     RankEnd on all ranks when one has failed.
class RankRounds : private Unmovable {
public:
    /// What all ranks together have come to.
    struct Progress {
        uint64_t m_bytesRead = 0;
        uint64_t m_numberOfResources = 0;
        uint64_t m_memoryInUse = 0;
    };

    /// What is done with the terms. What these throw is a failure of the rank.
    struct Actions {
        /// Gives the terms of a shard of this rank their local IDs; 0 to one that has none.
        std::function<void(uint32_t shard, std::span<BatchEntry> terms)> m_resolve;

        /// Tells what has no ID, in the errors of the piece; `missing` are the indexes of its terms without one. Appends the
        /// rows.
        std::function<void(ReadPiece& piece, std::span<const uint32_t> missing, std::vector<uint64_t>& cells)> m_finish;

        /// Takes the rows of a piece, and which number in the whole the first of them has.
        std::function<void(uint64_t firstRow, std::span<const uint64_t> cells)> m_addRows;

        /// What this rank has: of resources, and bytes of memory that its shards use.
        std::function<uint64_t()> m_getNumberOfResources;
        std::function<uint64_t()> m_getMemoryInUse;

        /// On the first rank: takes the summaries of pieces in the order of the input. Returns whether to go on.
        std::function<bool(size_t inputIndex, ReadPiece& summary)> m_takeSummary;

        /// On the first rank: asked in each round whether to save what has been done, with how many pieces it takes.
        std::function<bool(uint64_t numberOfPieces)> m_isSaveDue;

        /// Saves it, on all ranks at the same moment: all before the frontier has been done, with so many rows.
        std::function<void(const SliceFrontier& frontier, uint64_t numberOfRows)> m_save;

        /// On the first rank: told the figures of all ranks after each round, with that of each rank's memory.
        std::function<void(const Progress& progress, std::span<const uint64_t> memoryInUse)> m_noteProgress;
    };

    /// Where an interrupted run goes on: what comes before has been done.
    struct Begin {
        uint64_t m_slice = 0;
        uint64_t m_piece = 0;
        uint64_t m_numberOfRows = 0;
    };

    /// What is read ahead goes to the folder.
    RankRounds(const Ranks& ranks, const SlicePlan& plan, const std::string& folderName,
               const SliceReader::Settings& settings, const Begin& begin, size_t numberOfColumns, Actions actions);
    ~RankRounds();

    /// Does all rounds. Returns whether all of the input has been taken, and not the journal has ended it.
    bool run();

    uint64_t getNumberOfRows() const noexcept { return m_numberOfRows; }

    /// What this rank has sent to others, in bytes and terms, and how many terms its pieces had.
    struct Traffic {
        uint64_t m_bytesSent = 0;
        uint64_t m_termsSent = 0;
        uint64_t m_terms = 0;
        uint64_t m_rounds = 0;
    };
    Traffic getTraffic() const noexcept;

private:
    struct Report;
    struct SentPiece;
    struct Round;

    /// The terms of all pieces of a round that belong to a shard of this rank.
    struct ShardTerms {
        std::vector<BatchEntry> m_entries;
        std::vector<size_t> m_answers; // where the ID of each belongs
    };

    // So many rounds after the last one with pieces, all of these have been done and told: in the first one they are
    // resolved, in the second one rows and summaries are taken, and the third one tells what the journal says of these.
    static constexpr uint32_t ROUNDS_TO_DRAIN = 3;

    // Of the terms that a rank offers for a round.
    static constexpr size_t BYTES_OF_OFFER = size_t(2) << 20;

    void attempt(const std::function<void()>& action) noexcept;
    void performFailure() const;
    Report makeReport();
    bool wasDoneBefore(const SliceFrontier::Taken& taken) const noexcept;
    void addRows(std::span<const Report> reports);
    void tellProgress(std::span<const Report> reports);
    void takePieces(Round& round);
    void sortTerms(SentPiece& sent);
    void send(const Round& round, RankExchange& exchange);
    void takeSummaries(const RankExchange& exchange);
    void resolve(const Round& round, const RankExchange& terms);
    void readTerms(const Round& round, const RankExchange& terms);
    void finishRound(Round& round);

    const Ranks& m_ranks;
    const SlicePlan& m_plan;
    std::atomic<uint64_t> m_bytesRead = 0; // by this rank
    PieceQueue m_queue;
    const SliceReader m_reader;
    const Begin m_begin;
    const size_t m_numberOfColumns;
    const Actions m_actions;
    SliceFrontier m_frontier;
    TermCache m_cache;
    std::vector<uint64_t> m_hashes;                       // of the terms of a piece
    std::vector<std::pair<uint64_t, uint32_t>> m_unknown; // terms of a piece by their hashes and indexes
    std::vector<uint32_t> m_ownShards;
    std::array<RankExchange, 2> m_terms; // by turns, as those of a round are there when the next ones are sent
    RankExchange m_ids;
    std::vector<ShardTerms> m_termsOfShards; // by the index of own shards
    std::vector<uint64_t> m_answers;
    std::vector<size_t> m_beginsOfAnswers; // by rank

    /// Of the round that was finished last: its pieces, and of its own ones the rows and the summaries.
    std::vector<SliceFrontier::Taken> m_finished;
    std::vector<std::vector<uint64_t>> m_finishedRows;
    std::string m_summaries;

    std::pair<uint64_t, uint64_t> m_saved; // the slice and the piece behind what is saved, by this run or one before
    uint64_t m_numberOfRows = 0;
    bool m_isStopped = false; // on the first rank, by the journal
    std::exception_ptr m_failure;
    Traffic m_traffic;
};

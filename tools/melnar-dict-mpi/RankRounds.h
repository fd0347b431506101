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

/// Gives the terms of an input that all ranks read their IDs, in rounds. Each shard is owned by the rank with its
/// number modulo the number of ranks; only the owner has its terms. A round takes the next pieces of the input, from
/// all ranks that have read them:
///
///  1. Each rank sends to each owner the terms of its pieces in the owner's shards, each once per piece, except those
///     whose ID is in its cache.
///  2. Each owner resolves the received terms in the order of the pieces, and sends the IDs back.
///  3. Each rank makes the rows of its pieces, and sends their summaries to the first rank, which keeps the journal.
///
/// Rounds overlap: while the terms of a round are being sent, those of the previous one are resolved, and a thread of
/// each rank reads ahead. A shard gets the same terms in the same order as in one process.
///
/// A rank that fails takes part in the round with empty data, and reports it in the next one, so that all end together.
///
/// Ownership  Refers to all of its arguments, which outlive it.
/// Threads    That of the ranks.
/// Errors     RankEnd on all ranks if one has failed.
class RankRounds : private Unmovable {
public:
    /// The progress of all ranks together.
    struct Progress {
        uint64_t m_bytesRead = 0;
        uint64_t m_numberOfResources = 0;
        uint64_t m_memoryInUse = 0;
    };

    /// The operations on the terms. An exception of these is a failure of the rank.
    struct Actions {
        /// Gives the terms of a shard of this rank their local IDs; 0 to refused ones.
        std::function<void(uint32_t shard, std::span<BatchEntry> terms)> m_resolve;

        /// Records the terms without an ID in the errors of the piece; `missing` are their indexes. Appends the rows.
        std::function<void(ReadPiece& piece, std::span<const uint32_t> missing, std::vector<uint64_t>& cells)> m_finish;

        /// Takes the rows of a piece, and the number of the first of them in the whole output.
        std::function<void(uint64_t firstRow, std::span<const uint64_t> cells)> m_addRows;

        /// Returns the figures of this rank: resources, and bytes of memory that its shards use.
        std::function<uint64_t()> m_getNumberOfResources;
        std::function<uint64_t()> m_getMemoryInUse;

        /// On the first rank: takes the summaries of pieces in the order of the input. Returns whether to continue.
        std::function<bool(size_t inputIndex, ReadPiece& summary)> m_takeSummary;

        /// On the first rank: called in each round. Returns whether to save the progress; gets the number of pieces of
        /// the round.
        std::function<bool(uint64_t numberOfPieces)> m_isSaveDue;

        /// Saves the progress, on all ranks at the same moment: everything before the frontier has been done, with so
        /// many rows.
        std::function<void(const SliceFrontier& frontier, uint64_t numberOfRows)> m_save;

        /// On the first rank: gets the figures of all ranks after each round, with the memory of each rank.
        std::function<void(const Progress& progress, std::span<const uint64_t> memoryInUse)> m_noteProgress;
    };

    /// Where an interrupted run continues: everything before has been done.
    struct Begin {
        uint64_t m_slice = 0;
        uint64_t m_piece = 0;
        uint64_t m_numberOfRows = 0;
    };

    /// Pieces that are read ahead are spilled to the folder.
    RankRounds(const Ranks& ranks, const SlicePlan& plan, const std::string& folderName,
               const SliceReader::Settings& settings, const Begin& begin, size_t numberOfColumns, Actions actions);
    ~RankRounds();

    /// Performs all rounds. Returns whether all of the input has been read; false if the journal has ended the run.
    bool run();

    uint64_t getNumberOfRows() const noexcept { return m_numberOfRows; }

    /// The traffic from this rank to others, in bytes and terms, and the number of terms of its pieces.
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

    // So many rounds after the last one with pieces, all of these are complete: the first round resolves them, the
    // second one takes rows and summaries, and the third one distributes the journal's decision.
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
    std::atomic<uint64_t> m_bytesRead = 0; // by this rank so far
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
    std::array<RankExchange, 2> m_terms; // alternately, as those of a round still exist when the next ones are sent
    RankExchange m_ids;
    std::vector<ShardTerms> m_termsOfShards; // by the index of own shards
    std::vector<uint64_t> m_answers;
    std::vector<size_t> m_beginsOfAnswers; // by rank

    /// Of the round that was finished last: its pieces, and the rows and the summaries of this rank's pieces.
    std::vector<SliceFrontier::Taken> m_finished;
    std::vector<std::vector<uint64_t>> m_finishedRows;
    std::string m_summaries;

    std::pair<uint64_t, uint64_t> m_saved; // the first slice and piece that is not saved, by this run or one before
    uint64_t m_numberOfRows = 0;
    bool m_isStopped = false; // on the first rank, by the journal
    std::exception_ptr m_failure;
    Traffic m_traffic;
};

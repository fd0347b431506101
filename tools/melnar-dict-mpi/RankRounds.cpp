#include "tools/melnar-dict-mpi/RankRounds.h"

#include "tools/melnar-dict-mpi/Bytes.h"

#include "tools/melnar-dict/load/ShardSpill.h"

#include <algorithm>
#include <string_view>
#include <utility>

/// The report of a rank to all others in each round.
struct RankRounds::Report {
    SliceFrontier::Offer m_offer;
    std::array<uint64_t, SliceFrontier::LARGEST_OFFER> m_rows{}; // of its pieces in the round that was finished last
    uint64_t m_bytesRead = 0;
    uint64_t m_numberOfResources = 0;
    uint64_t m_memoryInUse = 0;
    bool m_hasFailed = false;
    bool m_isStopped = false; // of the first rank
    bool m_isSaveDue = false; // the same
};

/// A piece of this rank that is in a round, with the terms that were sent, in the order of their shards.
struct RankRounds::SentPiece {
    std::unique_ptr<ReadPiece> m_piece;
    bool m_wasDoneBefore = false;   // by an earlier run
    std::vector<uint32_t> m_terms;  // indexes
    std::vector<uint64_t> m_hashes; // of each of these terms
    std::array<uint32_t, ShardLayout::NUMBER_OF_SHARDS + 1> m_begins{};
};

struct RankRounds::Round {
    std::vector<SliceFrontier::Taken> m_taken; // of all ranks
    std::vector<SentPiece> m_sent;             // of this one
};

RankRounds::RankRounds(const Ranks& ranks, const SlicePlan& plan, const std::string& folderName,
                       const SliceReader::Settings& settings, const Begin& begin, const size_t numberOfColumns,
                       Actions actions)
    : m_ranks(ranks), m_plan(plan), m_queue(folderName, numberOfColumns),
      m_reader(plan, ranks.getRank(), settings, m_bytesRead, m_queue), m_begin(begin),
      m_numberOfColumns(numberOfColumns), m_actions(std::move(actions)),
      m_frontier(plan), m_terms{RankExchange(ranks), RankExchange(ranks)}, m_ids(ranks),
      m_beginsOfAnswers(ranks.getNumber()), m_saved(begin.m_slice, begin.m_piece),
      m_numberOfRows(begin.m_numberOfRows) {
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        if (ranks.isMine(shard))
            m_ownShards.push_back(shard);
    m_termsOfShards.resize(m_ownShards.size());
}

RankRounds::~RankRounds() = default;

RankRounds::Traffic RankRounds::getTraffic() const noexcept {
    Traffic traffic = m_traffic;
    traffic.m_bytesSent =
        m_terms[0].getNumberOfBytesSent() + m_terms[1].getNumberOfBytesSent() + m_ids.getNumberOfBytesSent();
    return traffic;
}

/// Keeps the first failure. Joint operations are not part of an action, so the others need not wait for this rank.
void RankRounds::attempt(const std::function<void()>& action) noexcept {
    try {
        if (m_failure == nullptr)
            action();
    } catch (...) {
        m_failure = std::current_exception();
    }
}

bool RankRounds::run() {
    std::array<Round, 2> rounds;
    bool isDraining = false;
    for (uint64_t number = 0, roundsWithout = 0;; ++number) {
        const std::vector<Report> reports = m_ranks.gatherAll(makeReport());
        if (std::ranges::any_of(reports, [](const Report& report) { return report.m_hasFailed; }))
            performFailure();
        if (reports[0].m_isStopped)
            return false;
        addRows(reports);
        tellProgress(reports);
        isDraining = isDraining || reports[0].m_isSaveDue;

        Round& sentRound = rounds[number % 2];
        RankExchange& sentTerms = m_terms[number % 2];
        Round& receivedRound = rounds[(number + 1) % 2];
        sentRound.m_sent.clear();
        sentRound.m_taken.clear();
        if (!isDraining) {
            std::vector<SliceFrontier::Offer> offers;
            offers.reserve(reports.size());
            for (const Report& report : reports)
                offers.push_back(report.m_offer);
            sentRound.m_taken = m_frontier.take(offers);
            attempt([&] { takePieces(sentRound); });
        }
        attempt([&] { send(sentRound, sentTerms); });
        if (m_failure != nullptr)
            sentTerms.clear();
        sentTerms.start();
        attempt([&] { resolve(receivedRound, m_terms[(number + 1) % 2]); });
        if (m_failure != nullptr)
            m_ids.clear();
        m_ids.start();
        sentTerms.finish();
        if (m_ranks.isFirst())
            attempt([&] { takeSummaries(sentTerms); });
        m_ids.finish();
        attempt([&] { finishRound(receivedRound); });

        roundsWithout = sentRound.m_taken.empty() ? roundsWithout + 1 : 0;
        ++m_traffic.m_rounds;
        if (roundsWithout < ROUNDS_TO_DRAIN)
            continue;
        if (isDraining) {
            m_actions.m_save(m_frontier, m_numberOfRows);
            isDraining = false;
            roundsWithout = 0;
            m_saved = {m_frontier.getSlice(), m_frontier.getPiece()};
        } else if (m_frontier.isAtEnd()) {
            performFailure(); // there is no failure: the last rounds are empty
            return true;
        }
    }
}

/// A joint operation: throws the failure, if there is one.
void RankRounds::performFailure() const {
    m_ranks.perform([this] {
        if (m_failure != nullptr)
            std::rethrow_exception(m_failure);
    });
}

/// Waits for a piece if others need one: if the next one of this rank may be in this round.
RankRounds::Report RankRounds::makeReport() {
    Report report;
    attempt([&] {
        if (m_frontier.isAtEnd())
            return;
        const uint64_t nextSlice = m_reader.getNextSlice(); // read before the queue, which may contain it by then
        if (nextSlice < m_frontier.getSlice() + m_ranks.getNumber())
            m_queue.waitForPiece();
        report.m_offer = m_queue.getOffer(BYTES_OF_OFFER);
    });
    attempt([&] {
        for (size_t index = 0; index < m_finishedRows.size(); ++index)
            report.m_rows[index] = m_numberOfColumns == 0 ? 0 : m_finishedRows[index].size() / m_numberOfColumns;
        report.m_bytesRead = m_bytesRead.load(std::memory_order_relaxed);
        report.m_numberOfResources = m_actions.m_getNumberOfResources();
        report.m_memoryInUse = m_actions.m_getMemoryInUse();
        report.m_isStopped = m_isStopped;
        const bool isPastSaved = std::pair(m_frontier.getSlice(), m_frontier.getPiece()) > m_saved;
        report.m_isSaveDue = m_ranks.isFirst() && !m_isStopped && isPastSaved && !m_frontier.isAtEnd() &&
                             m_actions.m_isSaveDue(m_finished.size());
    });
    report.m_hasFailed = m_failure != nullptr;
    return report;
}

/// Every rank knows how many rows the pieces of others have, and so the positions of its own rows.
void RankRounds::addRows(const std::span<const Report> reports) {
    std::vector<size_t> numbers(m_ranks.getNumber()); // of pieces, by rank
    for (const SliceFrontier::Taken& taken : m_finished) {
        const size_t number = numbers[taken.m_rank]++;
        if (taken.m_rank == m_ranks.getRank() && !m_finishedRows[number].empty())
            attempt([&] { m_actions.m_addRows(m_numberOfRows, m_finishedRows[number]); });
        m_numberOfRows += reports[taken.m_rank].m_rows[number];
    }
}

void RankRounds::tellProgress(const std::span<const Report> reports) {
    if (!m_ranks.isFirst())
        return;
    attempt([&] {
        Progress progress;
        std::vector<uint64_t> memoryInUse;
        for (const Report& report : reports) {
            progress.m_bytesRead += report.m_bytesRead;
            progress.m_numberOfResources += report.m_numberOfResources;
            progress.m_memoryInUse += report.m_memoryInUse;
            memoryInUse.push_back(report.m_memoryInUse);
        }
        m_actions.m_noteProgress(progress, memoryInUse);
    });
}

bool RankRounds::wasDoneBefore(const SliceFrontier::Taken& taken) const noexcept {
    return std::pair(taken.m_piece.m_slice, taken.m_index) < std::pair(m_begin.m_slice, m_begin.m_piece);
}

/// Takes the pieces of this rank from the queue.
void RankRounds::takePieces(Round& round) {
    for (const SliceFrontier::Taken& taken : round.m_taken)
        if (taken.m_rank == m_ranks.getRank()) {
            SentPiece& sent = round.m_sent.emplace_back();
            sent.m_piece = m_queue.pop();
            sent.m_wasDoneBefore = wasDoneBefore(taken);
            sortTerms(sent);
        }
}

/// Finds the terms that must be sent, and sorts them by shards.
void RankRounds::sortTerms(SentPiece& sent) {
    if (sent.m_wasDoneBefore)
        return;
    const std::span<BatchEntry> entries = sent.m_piece->m_parsed.m_terms.getEntries();
    m_traffic.m_terms += entries.size();
    m_hashes.clear();
    for (const BatchEntry& entry : entries) {
        m_hashes.push_back(ShardLayout::getHash(entry.m_lexicalForm, entry.m_datatypeID));
        m_cache.prefetch(m_hashes.back());
    }
    m_unknown.clear();
    for (uint32_t index = 0; index < entries.size(); ++index) {
        BatchEntry& entry = entries[index];
        const uint64_t hash = m_hashes[index];
        entry.m_resourceID = m_cache.find(hash, entry.m_lexicalForm, entry.m_datatypeID);
        if (entry.m_resourceID == ShardLayout::NO_RESOURCE)
            m_unknown.emplace_back(hash, index);
    }
    m_traffic.m_termsSent += m_unknown.size();
    for (const auto& [hash, index] : m_unknown)
        ++sent.m_begins[ShardLayout::getShardOfHash(hash) + 1];
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        sent.m_begins[shard + 1] += sent.m_begins[shard];
    std::array<uint32_t, ShardLayout::NUMBER_OF_SHARDS + 1> places = sent.m_begins;
    sent.m_terms.resize(m_unknown.size());
    sent.m_hashes.resize(m_unknown.size());
    for (const auto& [hash, index] : m_unknown) {
        const uint32_t place = places[ShardLayout::getShardOfHash(hash)]++;
        sent.m_terms[place] = index;
        sent.m_hashes[place] = hash;
    }
}

/// The part for the first rank starts with the summaries of the last round. Then the part for each rank contains the
/// number of terms, and for each piece and each shard of the rank the number of its terms and the terms.
void RankRounds::send(const Round& round, RankExchange& exchange) {
    for (uint32_t rank = 0; rank < m_ranks.getNumber(); ++rank) {
        exchange.startPart();
        if (rank == 0) {
            exchange.appendValue(m_summaries.size());
            exchange.append(m_summaries.data(), m_summaries.size());
        }
        uint64_t numberOfTerms = 0;
        for (const SentPiece& sent : round.m_sent)
            for (uint32_t shard = rank; shard < ShardLayout::NUMBER_OF_SHARDS; shard += m_ranks.getNumber())
                numberOfTerms += sent.m_begins[shard + 1] - sent.m_begins[shard];
        exchange.appendValue(numberOfTerms);
        for (const SentPiece& sent : round.m_sent) {
            const std::span<const BatchEntry> entries = std::as_const(*sent.m_piece).m_parsed.m_terms.getEntries();
            for (uint32_t shard = rank; shard < ShardLayout::NUMBER_OF_SHARDS; shard += m_ranks.getNumber()) {
                exchange.appendValue(sent.m_begins[shard + 1] - sent.m_begins[shard]);
                for (uint32_t place = sent.m_begins[shard]; place < sent.m_begins[shard + 1]; ++place) {
                    const BatchEntry& entry = entries[sent.m_terms[place]];
                    ShardSpill::requireShortForm(entry);
                    exchange.appendValue(static_cast<uint32_t>(entry.m_lexicalForm.size()));
                    exchange.appendValue(entry.m_datatypeID);
                    exchange.append(entry.m_lexicalForm.data(), entry.m_lexicalForm.size());
                }
            }
        }
    }
    m_summaries.clear();
}

/// In the order of the pieces; the pieces of one rank are in its part.
void RankRounds::takeSummaries(const RankExchange& exchange) {
    std::vector<std::string_view> summaries;
    for (uint32_t rank = 0; rank < m_ranks.getNumber(); ++rank) {
        const std::span<const char> part = exchange.getPart(rank);
        std::string_view bytes(part.data(), part.size());
        summaries.push_back(bytes.empty() ? bytes : takeText(bytes));
    }
    ReadPiece piece(0);
    for (const SliceFrontier::Taken& taken : m_finished) {
        std::string_view& bytes = summaries[taken.m_rank];
        if (bytes.empty())
            return; // The rank has failed, which ends the run.
        piece.takeSummary(bytes);
        if (!m_isStopped)
            m_isStopped = !m_actions.m_takeSummary(m_plan.getSlice(taken.m_piece.m_slice).m_inputIndex, piece);
    }
}

/// Sorts the received terms by shards, so that each shard gets the terms of the round in one batch, in the order of the
/// pieces.
void RankRounds::readTerms(const Round& round, const RankExchange& terms) {
    for (ShardTerms& ofShard : m_termsOfShards) {
        ofShard.m_entries.clear();
        ofShard.m_answers.clear();
    }
    std::vector<std::string_view> parts;
    size_t numberOfTerms = 0;
    for (uint32_t rank = 0; rank < m_ranks.getNumber(); ++rank) {
        const std::span<const char> part = terms.getPart(rank);
        std::string_view& bytes = parts.emplace_back(part.data(), part.size());
        m_beginsOfAnswers[rank] = numberOfTerms;
        if (bytes.empty())
            continue; // The rank has failed.
        if (m_ranks.isFirst())
            takeText(bytes); // the summaries
        numberOfTerms += takeValue<uint64_t>(bytes);
    }
    m_answers.assign(numberOfTerms, ShardLayout::NO_RESOURCE);
    std::vector<size_t> answers = m_beginsOfAnswers;
    for (const SliceFrontier::Taken& taken : round.m_taken) {
        std::string_view& bytes = parts[taken.m_rank];
        if (bytes.empty())
            continue;
        for (ShardTerms& ofShard : m_termsOfShards)
            for (auto number = takeValue<uint32_t>(bytes); number != 0; --number) {
                const auto length = takeValue<uint32_t>(bytes);
                const auto datatypeID = takeValue<uint8_t>(bytes);
                ofShard.m_entries.push_back({bytes.substr(0, length), ShardLayout::NO_RESOURCE, datatypeID});
                ofShard.m_answers.push_back(answers[taken.m_rank]++);
                bytes.remove_prefix(length);
            }
    }
}

void RankRounds::resolve(const Round& round, const RankExchange& terms) {
    readTerms(round, terms);
    for (size_t index = 0; index < m_ownShards.size(); ++index) {
        ShardTerms& ofShard = m_termsOfShards[index];
        if (!ofShard.m_entries.empty())
            m_actions.m_resolve(m_ownShards[index], ofShard.m_entries);
        for (size_t number = 0; number < ofShard.m_entries.size(); ++number)
            m_answers[ofShard.m_answers[number]] =
                ShardLayout::toGlobal(ofShard.m_entries[number].m_resourceID, m_ownShards[index]);
    }
    for (uint32_t rank = 0; rank < m_ranks.getNumber(); ++rank) {
        const size_t end = rank + 1 < m_ranks.getNumber() ? m_beginsOfAnswers[rank + 1] : m_answers.size();
        m_ids.startPart();
        m_ids.append(m_answers.data() + m_beginsOfAnswers[rank], (end - m_beginsOfAnswers[rank]) * sizeof(uint64_t));
    }
}

/// Gives the pieces of this rank the received IDs, and finishes them.
void RankRounds::finishRound(Round& round) {
    m_finished = std::move(round.m_taken);
    round.m_taken.clear();
    m_finishedRows.clear();
    std::vector<std::string_view> parts;
    for (uint32_t rank = 0; rank < m_ranks.getNumber(); ++rank) {
        const std::span<const char> part = m_ids.getPart(rank);
        parts.emplace_back(part.data(), part.size());
    }
    std::vector<uint32_t> missing;
    for (SentPiece& sent : round.m_sent) {
        const std::span<BatchEntry> entries = sent.m_piece->m_parsed.m_terms.getEntries();
        missing.clear();
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
            std::string_view& ids = parts[m_ranks.getOwner(shard)];
            for (uint32_t place = sent.m_begins[shard]; place < sent.m_begins[shard + 1] && !ids.empty(); ++place) {
                BatchEntry& entry = entries[sent.m_terms[place]];
                entry.m_resourceID = takeValue<uint64_t>(ids);
                if (entry.m_resourceID == ShardLayout::NO_RESOURCE)
                    missing.push_back(sent.m_terms[place]);
                else
                    m_cache.add(sent.m_hashes[place], entry.m_lexicalForm, entry.m_datatypeID, entry.m_resourceID);
            }
        }
        std::ranges::sort(missing);
        std::vector<uint64_t>& cells = m_finishedRows.emplace_back();
        if (!sent.m_wasDoneBefore)
            m_actions.m_finish(*sent.m_piece, missing, cells);
        if (m_ranks.getNumber() != 1)
            for (InputError& error : sent.m_piece->m_parsed.m_errors)
                if (error.m_exitCode != ExitCode::BAD_DATA) // other ranks might not have it
                    error.m_cause = m_ranks.getName() + ": " + error.m_cause;
        sent.m_piece->appendSummaryTo(m_summaries);
        m_queue.giveBack(std::move(sent.m_piece));
    }
    round.m_sent.clear();
}

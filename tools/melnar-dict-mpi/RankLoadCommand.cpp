#include "tools/melnar-dict-mpi/RankLoadCommand.h"

#include "tools/melnar-dict-mpi/RankDictionary.h"
#include "tools/melnar-dict-mpi/RankInputs.h"
#include "tools/melnar-dict-mpi/RankJournal.h"
#include "tools/melnar-dict-mpi/RankNeeds.h"
#include "tools/melnar-dict-mpi/RankRounds.h"
#include "tools/melnar-dict-mpi/RankRows.h"
#include "tools/melnar-dict-mpi/SharedRowFile.h"

#include "tools/melnar-dict/load/BatchResolver.h"
#include "tools/melnar-dict/load/LoadCheckpoint.h"
#include "tools/melnar-dict/load/LoadOutputs.h"
#include "tools/melnar-dict/load/LoadRun.h"
#include "tools/melnar-dict/load/RowOutput.h"
#include "tools/melnar-dict/load/ShardedFolder.h"
#include "tools/melnar-dict/load/ShardedLoadSteps.h"
#include "tools/melnar-dict/shell/Amounts.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/shell/OutputLock.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>

namespace {

/// The data of the first rank only: the outputs and the journal.
struct FirstRank : private Unmovable {
    FirstRank(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput)
        : m_folder(options), m_messages(errorOutput) {
        std::ostream& notes = options.m_feedback.getNoteOutput(errorOutput);
        checkOtherOutputs(options);
        m_lock.emplace(m_folder.getManifestName(), options.m_output.m_waits, notes);
        m_folder.check(); // It may have changed since.
        if (options.m_idsName.empty())
            return;
        m_rows.emplace(options, output, notes);
        checkOtherOutputs(options); // The file may have been created or changed since.
    }

    ~FirstRank() { LoadCheckpoint::removeAllButUnfinished(m_folder.getName()); }

    ShardedFolder m_folder;
    MessageOutput m_messages;
    std::optional<OutputLock> m_lock;
    std::optional<RowOutput> m_rows;
    std::optional<LoadRun> m_run;
    std::optional<RankJournal> m_rankJournal;
};

/// A load by all ranks, from start to end, on one of them.
class RankLoad : private Unmovable {
public:
    RankLoad(const RankLoadOptions& options, const Ranks& ranks, StandardOutput& output, std::ostream& errorOutput)
        : m_ranks(ranks), m_options(options.m_load), m_areInputsOfRanks(options.m_areInputsOfRanks),
          m_isResuming(options.m_isResuming), m_tellsTraffic(options.m_tellsTraffic), m_output(output),
          m_errorOutput(errorOutput) {}

    ExitCode run();

private:
    void prepare();
    void begin();
    void findBeginning();
    void openFiles();
    bool readAll();
    void save();
    std::string openRows(uint64_t largestID, size_t& idWidth);
    void tellTraffic() const;
    RankRounds::Actions makeActions();

    // Of the rounds.
    void finishPiece(ReadPiece& piece, std::span<const uint32_t> missing, std::vector<uint64_t>& cells) const;
    void saveUnfinished(const SliceFrontier& frontier, uint64_t numberOfRows);

    // The same on the first rank.
    void noteProgress(const RankRounds::Progress& progress, std::span<const uint64_t> memoryInUse);
    bool isSaveDue(uint64_t numberOfPieces);

    const Ranks& m_ranks;
    LoadOptions m_options;
    const bool m_areInputsOfRanks;
    const bool m_isResuming;
    const bool m_tellsTraffic;
    StandardOutput& m_output;
    std::ostream& m_errorOutput;
    std::unique_ptr<FirstRank> m_first; // null on the others
    std::string m_folderName;
    size_t m_numberOfColumns = 0; // of the rows; 0 for no rows
    size_t m_dictionaryLimit = 0;
    std::vector<SlicePlan::Input> m_inputs;
    std::vector<InputStamp> m_stamps;
    std::string m_openedName; // of the folder with the existing shards; empty if there are none
    ShardManifest m_manifest; // at the start of the load
    LoadWork m_work;          // of an earlier run, if this one resumes it
    std::optional<RankDictionary> m_dictionary;
    std::optional<RankRows> m_rows;
    uint64_t m_numberOfRows = 0;
    RankRounds::Traffic m_traffic;

    // On the first rank:
    uint64_t m_firstNumber = 0; // of resources before the load
    std::atomic<uint64_t> m_numberOfResources = 0;
    std::atomic<uint64_t> m_memoryInUse = 0;
    std::vector<std::string> m_names;
    std::vector<uint64_t> m_limits;   // of the ranks' shards
    std::vector<bool> m_areRanksTold; // that they are near their limits
    std::chrono::steady_clock::time_point m_lastSave = std::chrono::steady_clock::now();
    uint64_t m_piecesSinceSave = 0;
};

ExitCode RankLoad::run() {
    prepare();
    begin();
    const bool isRead = readAll();
    if (isRead)
        save();
    ExitCode exitCode = ExitCode::DONE;
    m_ranks.perform([&] {
        if (!m_first)
            return;
        if (!isRead) {
            exitCode = m_first->m_run->tellStop();
            return;
        }
        LoadReport report = m_first->m_run->makeReport(m_options.m_blankNodes.m_firstDocument);
        report.m_memoryBytes = m_memoryInUse.load(std::memory_order_relaxed);
        addDictionary(m_manifest, report);
        exitCode = m_first->m_run->print(report, {});
    });
    if (m_tellsTraffic)
        tellTraffic();
    return m_ranks.gatherAll(exitCode)[0];
}

/// Checks the outputs, and agrees on the inputs.
void RankLoad::prepare() {
    RankInputs inputs;
    m_ranks.perform([&] {
        if (!m_ranks.isFirst())
            return;
        inputs.assign(m_options.m_files, m_areInputsOfRanks);
        m_options.m_files = inputs.m_files; // since the outputs are compared with them
        m_first = std::make_unique<FirstRank>(m_options, m_output, m_errorOutput);
        m_folderName = m_first->m_folder.getName();
    });
    m_folderName = m_ranks.broadcast(std::move(m_folderName));
    inputs.agree(m_ranks, m_options.m_base);
    m_options.m_files = std::move(inputs.m_files);
    m_inputs = std::move(inputs.m_inputs);
    m_stamps = std::move(inputs.m_stamps);
    if (!m_options.m_idsName.empty())
        m_numberOfColumns = m_options.m_rows.getNumberOfColumns(m_options.m_files);
    m_ranks.perform(
        [&] { m_dictionaryLimit = RankNeeds::applyLimit(m_options.m_memoryLimit, m_ranks.getNumberOnThisMachine()); });
    m_limits = m_ranks.gatherAll<uint64_t>(m_dictionaryLimit);
    m_names = m_ranks.gather(m_ranks.getName());
    m_areRanksTold.resize(m_ranks.getNumber());
}

/// Opens the shards of each rank: new ones, those of the dictionary given with --into, or those of an earlier run.
void RankLoad::begin() {
    std::string bytes;
    m_ranks.perform([&] {
        if (!m_first)
            return;
        findBeginning();
        m_manifest.m_work = m_work.toBytes();
        bytes = RankDictionary::toBytes(m_manifest);
    });
    bytes = m_ranks.broadcast(std::move(bytes));
    m_openedName = m_ranks.broadcast(std::move(m_openedName));
    m_ranks.perform([&] {
        m_manifest = RankDictionary::fromBytes(bytes);
        m_work = LoadWork::parse(std::exchange(m_manifest.m_work, {}));
        openFiles();
        if (m_options.m_blankNodes.m_mode == BlankNodeScope::Mode::DOCUMENTS)
            m_options.m_blankNodes.m_firstDocument = m_manifest.m_nextDocument;
        if (!m_first)
            return;
        m_first->m_run.emplace(m_options, m_output, m_first->m_messages, m_errorOutput);
        m_first->m_rankJournal.emplace(m_first->m_run->getJournal(), m_options.m_files);
    });
}

/// On the first rank, under the folder's lock.
void RankLoad::findBeginning() {
    std::ostream& notes = m_options.m_feedback.getNoteOutput(m_errorOutput);
    m_openedName = m_options.m_intoName;
    m_manifest = m_openedName.empty()
                     ? ShardedDictionary({.m_memoryLimit = m_dictionaryLimit}).getManifest()
                     : ShardedDictionary::open(m_openedName, {.m_memoryLimit = m_dictionaryLimit})->getManifest();
    m_firstNumber = m_manifest.getNumberOfResources();
    m_numberOfResources.store(m_firstNumber, std::memory_order_relaxed);
    m_work.m_task =
        "slices of " + std::to_string(SlicePlan::SLICE_SIZE) + ' ' + describeTask(m_options, m_manifest, m_stamps);
    m_work.m_folderState = LoadCheckpoint::describeState(m_folderName);
    std::optional<LoadCheckpoint::Unfinished> unfinished =
        readUnfinished(m_options, m_folderName, m_work.m_folderState);
    if (m_isResuming && unfinished && unfinished->m_work.m_task == m_work.m_task) {
        m_openedName = m_folderName;
        m_manifest = std::move(unfinished->m_manifest);
        m_work = std::move(unfinished->m_work);
        notes << "resuming the interrupted load, which has " + std::to_string(m_manifest.getNumberOfResources()) +
                     " terms so far\n";
        return;
    }
    if (unfinished && !m_options.m_output.m_isForced) {
        if (unfinished->m_work.m_task == m_work.m_task)
            throw ToolFailure(ExitCode::USAGE, "the folder '" + m_folderName +
                                                   "' has an unfinished load of the same files; --resume resumes it, "
                                                   "and --force discards it");
        refuseToGiveUp(m_folderName, unfinished->m_work, true);
    }
    LoadCheckpoint::removeFrom(m_folderName);
    if (m_isResuming)
        notes << "there is no checkpoint to resume from: the load starts\n";
}

void RankLoad::openFiles() {
    try {
        m_dictionary.emplace(m_ranks, m_openedName, m_manifest, DictionaryOptions{.m_memoryLimit = m_dictionaryLimit});
        m_rows.emplace(m_folderName, m_ranks, m_work.m_rowFiles);
    } catch (const MelnarException& exception) {
        if (!m_work.isOfRanks() || exception.getKind() != FailureKind::DAMAGED_FILE)
            throw;
        refuseToResume(m_folderName, exception);
    }
}

/// Returns whether all of the input has been read; false if an error of an input has ended the load.
bool RankLoad::readAll() {
    const SlicePlan plan(m_inputs, m_ranks.getNumber());
    std::optional<RankRounds> rounds;
    m_ranks.perform([&] {
        rounds.emplace(m_ranks, plan, m_folderName,
                       SliceReader::Settings{m_options.m_isLenient, !m_options.m_rejectedName.empty(),
                                             m_options.m_maximumLine, m_options.m_base, m_options.m_version,
                                             m_options.m_blankNodes},
                       RankRounds::Begin{m_work.m_fileIndex, m_work.m_blockIndex, m_work.m_numberOfRows},
                       m_numberOfColumns, makeActions());
    });
    bool isRead = false;
    std::exception_ptr failure; // after the rounds
    bool areRoundsOver = false;
    const auto run = [&] {
        isRead = rounds->run();
        areRoundsOver = true;
    };
    try {
        if (m_first)
            m_first->m_run->load(run, {[this] { return m_numberOfResources - m_firstNumber; },
                                       [this] { return m_memoryInUse.load(std::memory_order_relaxed); },
                                       getTotalBytesOf(m_inputs)});
        else
            run();
    } catch (const RankEnd&) {
        throw;
    } catch (...) {
        if (!areRoundsOver) // The others do not know of it.
            Ranks::abort(m_ranks.tellCurrentException());
        failure = std::current_exception();
    }
    m_ranks.perform([&failure] {
        if (failure != nullptr)
            std::rethrow_exception(failure);
    });
    m_numberOfRows = rounds->getNumberOfRows();
    m_traffic = rounds->getTraffic();
    return isRead;
}

RankRounds::Actions RankLoad::makeActions() {
    RankRounds::Actions actions;
    actions.m_resolve = [this](const uint32_t shard, const std::span<BatchEntry> terms) {
        m_dictionary->resolve(shard, terms);
    };
    actions.m_finish = [this](ReadPiece& piece, const std::span<const uint32_t> missing, std::vector<uint64_t>& cells) {
        finishPiece(piece, missing, cells);
    };
    actions.m_addRows = [this](const uint64_t firstRow, const std::span<const uint64_t> cells) {
        m_rows->add(firstRow, cells);
    };
    actions.m_getNumberOfResources = [this] { return m_dictionary->get().getNumberOfResources(); };
    actions.m_getMemoryInUse = [this] { return m_dictionary->get().getMemoryInUse(); };
    actions.m_takeSummary = [this](const size_t inputIndex, ReadPiece& summary) {
        return m_first->m_rankJournal->take(inputIndex, summary);
    };
    actions.m_isSaveDue = [this](const uint64_t numberOfPieces) { return isSaveDue(numberOfPieces); };
    actions.m_save = [this](const SliceFrontier& frontier, const uint64_t numberOfRows) {
        saveUnfinished(frontier, numberOfRows);
    };
    actions.m_noteProgress = [this](const RankRounds::Progress& progress, const std::span<const uint64_t> memoryInUse) {
        noteProgress(progress, memoryInUse);
    };
    return actions;
}

/// Every dictionary refuses a term without an ID; its statements are errors.
void RankLoad::finishPiece(ReadPiece& piece, const std::span<const uint32_t> missing,
                           std::vector<uint64_t>& cells) const {
    std::vector<BatchFailure> failures;
    for (const uint32_t index : missing) {
        failures.push_back(m_dictionary->getRefusal(piece.m_parsed.m_terms.getEntries()[index]));
        failures.back().m_entryIndex = index;
    }
    addFailures(failures, piece.m_parsed);
    if (m_numberOfColumns != 0)
        piece.m_rows.appendIDsOfWholeRows(piece.m_parsed.m_terms.getEntries(), cells);
}

/// Also warns once if the shards of a rank are near its limit.
void RankLoad::noteProgress(const RankRounds::Progress& progress, const std::span<const uint64_t> memoryInUse) {
    m_first->m_run->getBytesRead().store(progress.m_bytesRead, std::memory_order_relaxed);
    m_numberOfResources.store(progress.m_numberOfResources, std::memory_order_relaxed);
    m_memoryInUse.store(progress.m_memoryInUse, std::memory_order_relaxed);
    for (uint32_t rank = 0; rank < m_ranks.getNumber(); ++rank)
        if (!m_areRanksTold[rank] && memoryInUse[rank] > m_limits[rank] / 4 * 3) {
            m_areRanksTold[rank] = true;
            const uint64_t totalBytes = std::max<uint64_t>(getTotalBytesOf(m_inputs), 1);
            if (m_options.m_feedback.m_isQuiet)
                continue;
            m_first->m_messages.write(m_names[rank] + ": its shards take " + describeBytes(memoryInUse[rank]) +
                                      " of the " + describeBytes(m_limits[rank]) + " that they may use, with " +
                                      std::to_string(std::min<uint64_t>(100, progress.m_bytesRead * 100 / totalBytes)) +
                                      "% of the input read; with more ranks each uses less\n");
        }
}

bool RankLoad::isSaveDue(const uint64_t numberOfPieces) {
    m_piecesSinceSave += numberOfPieces;
    if (m_options.m_checkpoint.m_blocks != 0)
        return m_piecesSinceSave >= m_options.m_checkpoint.m_blocks;
    return m_options.m_checkpoint.m_interval.count() != 0 &&
           std::chrono::steady_clock::now() - m_lastSave >= m_options.m_checkpoint.m_interval;
}

/// A joint operation: saves the progress of the load, in addition to the state in the folder.
void RankLoad::saveUnfinished(const SliceFrontier& frontier, const uint64_t numberOfRows) {
    LoadWork work = m_work;
    work.m_fileIndex = frontier.getSlice();
    work.m_blockIndex = frontier.getPiece();
    work.m_numberOfRows = numberOfRows;
    work.m_rowFiles = m_rows->synchronize();
    ShardManifest manifest = m_dictionary->save(m_folderName);
    m_ranks.perform([&] {
        if (!m_first)
            return;
        LoadCheckpoint::write(m_folderName, work, manifest);
        const ShardManifest oldManifest = LoadCheckpoint::readManifestOf(m_folderName);
        ShardedDictionary::removeRemains(m_folderName, {&manifest, &oldManifest});
        m_lastSave = std::chrono::steady_clock::now();
        m_piecesSinceSave = 0;
    });
}

/// On the first rank: creates the file of rows, to which all ranks write. Returns its name until it is complete.
std::string RankLoad::openRows(const uint64_t largestID, size_t& idWidth) {
    RowOutput& rows = *m_first->m_rows;
    rows.open(largestID);
    rows.getStream().flush();
    rows.noteRows(m_numberOfRows);
    idWidth = rows.getLayout().m_idWidth;
    return rows.getTemporaryFileName();
}

/// Saves the dictionary, together with the rows.
void RankLoad::save() {
    const std::vector<SpillPrefix> rowFiles = m_rows->synchronize();
    ShardManifest manifest = m_dictionary->save(m_folderName);
    uint64_t largestID = 0; // on the first rank
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        largestID = std::max(largestID, ShardLayout::toGlobal(manifest.m_shards[shard].m_numberOfResources, shard));
    std::string rowsName;
    size_t idWidth = 0;
    if (m_numberOfColumns != 0) {
        m_ranks.perform([&] {
            if (m_first)
                rowsName = openRows(largestID, idWidth);
        });
        rowsName = m_ranks.broadcast(std::move(rowsName));
        idWidth = m_ranks.gatherAll(idWidth)[0];
        m_ranks.perform([&] {
            SharedRowFile file(rowsName, m_numberOfColumns, idWidth);
            m_rows->write(rowFiles, m_numberOfColumns, m_numberOfRows, file);
        });
    }
    m_ranks.perform([&] {
        if (!m_first)
            return;
        ShardedDictionary::addState(manifest);
        addInputs(m_options, m_first->m_rankJournal->getStatementsOfInputs(), manifest);
        OutputFile file(*m_first->m_lock);
        manifest.write(file.getStream());
        if (m_first->m_rows)
            m_first->m_rows->commitWith(manifest.m_history, largestID, file);
        else
            file.commit();
        LoadCheckpoint::removeFrom(m_folderName);
        m_manifest = std::move(manifest);
    });
}

void RankLoad::tellTraffic() const {
    struct OfRank {
        RankRounds::Traffic m_traffic;
        double m_processorSeconds;
        uint64_t m_bytes;
        uint64_t m_bytesOfShards;
    };
    rusage usage{};
    static_cast<void>(::getrusage(RUSAGE_SELF, &usage)); // If it fails, there are zeros.
    const auto toSeconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    const std::vector<OfRank> all =
        m_ranks.gatherAll(OfRank{m_traffic, toSeconds(usage.ru_utime) + toSeconds(usage.ru_stime),
                                 static_cast<uint64_t>(usage.ru_maxrss) * 1024, m_dictionary->get().getMemoryInUse()});
    if (!m_first)
        return;
    OfRank sum{};
    for (const OfRank& rank : all) {
        sum.m_traffic.m_terms += rank.m_traffic.m_terms;
        sum.m_traffic.m_termsSent += rank.m_traffic.m_termsSent;
        sum.m_traffic.m_bytesSent += rank.m_traffic.m_bytesSent;
        sum.m_processorSeconds += rank.m_processorSeconds;
    }
    const OfRank& largest = *std::ranges::max_element(all, {}, &OfRank::m_bytes);
    std::ostringstream text;
    text << "rounds                   " << m_traffic.m_rounds << "\nterms of pieces          " << sum.m_traffic.m_terms
         << "\nterms asked for          " << sum.m_traffic.m_termsSent << "\nbytes from rank to rank  "
         << sum.m_traffic.m_bytesSent << "\nseconds of processors    " << sum.m_processorSeconds
         << "\nbytes of largest rank    " << largest.m_bytes << "\n  of its shards          " << largest.m_bytesOfShards
         << '\n';
    m_errorOutput << text.str();
}

} // namespace

ExitCode runRankLoad(const RankLoadOptions& options, const Ranks& ranks, StandardOutput& output,
                     std::ostream& errorOutput) {
    return RankLoad(options, ranks, output, errorOutput).run();
}

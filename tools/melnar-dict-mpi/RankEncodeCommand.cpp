#include "tools/melnar-dict-mpi/RankEncodeCommand.h"

#include "tools/melnar-dict-mpi/RankDictionary.h"
#include "tools/melnar-dict-mpi/RankInputs.h"
#include "tools/melnar-dict-mpi/RankJournal.h"
#include "tools/melnar-dict-mpi/RankNeeds.h"
#include "tools/melnar-dict-mpi/RankRounds.h"
#include "tools/melnar-dict-mpi/SharedRowFile.h"

#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/rewrite/RewriteOutput.h"
#include "tools/melnar-dict/rewrite/StatementProgress.h"
#include "tools/melnar-dict/rows/NpyFile.h"
#include "tools/melnar-dict/saved/FolderDictionary.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

/// The data of the first rank only: the output and the journal.
struct FirstRank : private Unmovable {
    FirstRank(const RewriteOptions& options, StandardOutput& standardOutput, std::ostream& errorOutput)
        : m_messages(errorOutput), m_output(options.m_output, getInputNames(options), standardOutput,
                                            options.m_feedback.getNoteOutput(errorOutput)),
          m_journal({}, m_messages) {}

    static std::vector<std::string> getInputNames(const RewriteOptions& options) {
        std::vector<std::string> names{options.m_dictionaryName};
        for (const auto& [fileName, format] : options.m_files)
            names.push_back(fileName);
        return names;
    }

    MessageOutput m_messages;
    RewriteOutput m_output;
    std::optional<NpyFile> m_rows;
    InputJournal m_journal;
    std::optional<RankJournal> m_rankJournal;
    std::optional<StatementProgress> m_progress;
};

/// Encodes with all ranks, on one of them.
class RankEncode : private Unmovable {
public:
    RankEncode(const RankEncodeOptions& options, const Ranks& ranks, StandardOutput& output, std::ostream& errorOutput)
        : m_ranks(ranks), m_options(options.m_encode), m_areInputsOfRanks(options.m_areInputsOfRanks), m_output(output),
          m_errorOutput(errorOutput) {}

    ExitCode run();

private:
    void prepare();
    void open();
    bool readAll();
    RankRounds::Actions makeActions();
    void finishPiece(ReadPiece& piece, std::vector<uint64_t>& cells) const;

    const Ranks& m_ranks;
    RewriteOptions m_options;
    const bool m_areInputsOfRanks;
    StandardOutput& m_output;
    std::ostream& m_errorOutput;
    std::unique_ptr<FirstRank> m_first; // null on the others
    std::vector<SlicePlan::Input> m_inputs;
    std::optional<RankDictionary> m_dictionary;
    std::optional<SharedRowFile> m_rows;
    RowLayout m_layout;
    uint64_t m_numberOfRows = 0;
};

ExitCode RankEncode::run() {
    prepare();
    open();
    const bool isRead = readAll();
    m_ranks.perform([&] { m_rows->synchronize(); });
    ExitCode exitCode = ExitCode::DONE;
    m_ranks.perform([&] {
        if (!m_first)
            return;
        m_first->m_progress.reset();
        exitCode = m_first->m_journal.getExitCode();
        if (isRead) {
            m_first->m_rows->noteRows(m_numberOfRows);
            m_first->m_rows->prepare(m_dictionary->get().getHistory());
        }
        m_first->m_output.finish(exitCode);
    });
    return m_ranks.gatherAll(exitCode)[0];
}

/// Checks the output, and agrees on the inputs.
void RankEncode::prepare() {
    RankInputs inputs;
    m_ranks.perform([&] {
        if (!m_ranks.isFirst())
            return;
        inputs.assign(m_options.m_files, m_areInputsOfRanks);
        m_options.m_files = inputs.m_files; // since the output is compared with them
        m_first = std::make_unique<FirstRank>(m_options, m_output, m_errorOutput);
    });
    inputs.agree(m_ranks, m_options.m_base);
    m_options.m_files = std::move(inputs.m_files);
    m_inputs = std::move(inputs.m_inputs);
    m_layout.m_columns = m_options.m_rows.getNumberOfColumns(m_options.m_files);
}

/// Opens the dictionary and the file of rows.
void RankEncode::open() {
    size_t dictionaryLimit = 0;
    std::string manifest;
    m_ranks.perform([&] {
        dictionaryLimit = RankNeeds::applyLimit(m_options.m_memoryLimit, m_ranks.getNumberOnThisMachine());
        if (m_first) {
            const FolderDictionary dictionary(m_options.m_dictionaryName, dictionaryLimit);
            dictionary.requireWholeState();
            m_layout.m_idWidth = m_options.m_rows.getIDWidth(dictionary.getLargestResourceID());
            manifest = RankDictionary::toBytes(dictionary.getManifest());
        }
    });
    manifest = m_ranks.broadcast(std::move(manifest));
    std::string fileName;
    m_ranks.perform([&] {
        m_dictionary.emplace(m_ranks, m_options.m_dictionaryName, RankDictionary::fromBytes(manifest),
                             DictionaryOptions{.m_memoryLimit = dictionaryLimit, .m_canGrow = false});
        if (!m_first)
            return;
        m_first->m_output.open();
        OutputFile& file = *m_first->m_output.getFile();
        m_first->m_rows.emplace(file, m_layout);
        file.getStream().flush();
        fileName = file.getTemporaryFileName();
        m_first->m_rankJournal.emplace(m_first->m_journal, m_options.m_files);
        m_first->m_progress.emplace(m_first->m_messages, m_options.m_feedback.getProgressMode(m_options.m_output),
                                    "rewriting", getTotalBytesOf(m_inputs), m_first->m_journal);
    });
    fileName = m_ranks.broadcast(std::move(fileName));
    m_layout.m_idWidth = m_ranks.gatherAll(m_layout.m_idWidth)[0];
    m_ranks.perform([&] { m_rows.emplace(fileName, m_layout.m_columns, m_layout.m_idWidth); });
}

/// Returns whether all of the input has been read; false if an error of an input has ended it.
bool RankEncode::readAll() {
    const SlicePlan plan(m_inputs, m_ranks.getNumber());
    const std::filesystem::path folder = std::filesystem::absolute(m_options.m_output.m_outputName).parent_path();
    std::optional<RankRounds> rounds;
    m_ranks.perform([&] {
        rounds.emplace(m_ranks, plan, folder.string(),
                       SliceReader::Settings{.m_maximumLine = m_options.m_maximumLine,
                                             .m_base = m_options.m_base,
                                             .m_version = m_options.m_version,
                                             .m_blankNodes = m_options.m_blankNodes},
                       RankRounds::Begin(), m_layout.m_columns, makeActions());
    });
    const bool isRead = rounds->run();
    m_numberOfRows = rounds->getNumberOfRows();
    return isRead;
}

RankRounds::Actions RankEncode::makeActions() {
    RankRounds::Actions actions;
    actions.m_resolve = [this](const uint32_t shard, const std::span<BatchEntry> terms) {
        m_dictionary->tryResolve(shard, terms);
    };
    actions.m_finish = [this](ReadPiece& piece, std::span<const uint32_t>, std::vector<uint64_t>& cells) {
        finishPiece(piece, cells);
    };
    actions.m_addRows = [this](const uint64_t firstRow, const std::span<const uint64_t> cells) {
        m_rows->write(firstRow, cells);
    };
    actions.m_getNumberOfResources = [] { return uint64_t(0); }; // none are new
    actions.m_getMemoryInUse = [this] { return m_dictionary->get().getMemoryInUse(); };
    actions.m_takeSummary = [this](const size_t inputIndex, ReadPiece& summary) {
        return m_first->m_rankJournal->take(inputIndex, summary);
    };
    actions.m_isSaveDue = [](uint64_t) { return false; };
    actions.m_noteProgress = [this](const RankRounds::Progress& progress, std::span<const uint64_t>) {
        m_first->m_progress->getBytesRead().store(progress.m_bytesRead, std::memory_order_relaxed);
    };
    return actions;
}

/// A missing term comes before an error that ended the piece.
void RankEncode::finishPiece(ReadPiece& piece, std::vector<uint64_t>& cells) const {
    ParsedPiece& parsed = piece.m_parsed;
    const std::span<const BatchEntry> entries = std::as_const(parsed).m_terms.getEntries();
    const TermRows::Gap gap = piece.m_rows.findGap(entries);
    if (gap.m_row != piece.m_rows.getNumberOfRows()) {
        const BatchEntry& entry = entries[gap.m_entryIndex];
        std::string cause = "the dictionary does not have ";
        appendTermText(entry.m_lexicalForm, entry.m_datatypeID, cause);
        parsed.m_errors.assign(1, {parsed.m_terms.getLine(gap.m_entryIndex), ExitCode::BAD_DATA, std::move(cause)});
    }
    piece.m_rows.appendIDs(gap.m_row, entries, cells);
}

} // namespace

ExitCode runRankEncode(const RankEncodeOptions& options, const Ranks& ranks, StandardOutput& output,
                       std::ostream& errorOutput) {
    return RankEncode(options, ranks, output, errorOutput).run();
}

#include "tools/melnar-dict/load/ShardedLoadCommand.h"

#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/load/LoadCheckpoint.h"
#include "tools/melnar-dict/load/LoadEstimator.h"
#include "tools/melnar-dict/load/LoadOutputs.h"
#include "tools/melnar-dict/load/LoadReport.h"
#include "tools/melnar-dict/load/LoadRun.h"
#include "tools/melnar-dict/load/RowOutput.h"
#include "tools/melnar-dict/load/ShardResolver.h"
#include "tools/melnar-dict/load/ShardSpill.h"
#include "tools/melnar-dict/load/ShardedFolder.h"
#include "tools/melnar-dict/load/ShardedLoadNeeds.h"
#include "tools/melnar-dict/load/ShardedLoadSteps.h"
#include "tools/melnar-dict/shell/NumberText.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/shell/OutputLock.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"
#include "tools/melnar-dict/threads/WorkerGroup.h"

#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

/// Estimates what a load needs; nothing if the samples cannot be read, or do not fit into memory: the load will report
/// the error.
std::optional<LoadEstimate> makeEstimate(const LoadOptions& options, const size_t dictionaryLimit) {
    try {
        return LoadEstimator({.m_numberOfThreads = options.m_numberOfThreads,
                              .m_memoryLimit = dictionaryLimit,
                              .m_makesShards = true,
                              .m_blankNodes = options.m_blankNodes})
            .estimate(options.m_files);
    } catch (const ToolFailure&) {
        return std::nullopt;
    }
}

/// Refuses a disk that has less space than a large load will probably need until it is done, if memory is full from the
/// start or may become full. A small load finds out soon.
void requireRoom(const LoadOptions& options, const std::string& folderName, const ShardedDictionary& dictionary,
                 const bool isFull, const size_t dictionaryLimit, MessageOutput& messages) {
    constexpr uint64_t LARGE = uint64_t(1) << 30;
    if (options.m_output.m_isForced || getTotalBytes(options.m_files) < LARGE)
        return;
    const ProgressReporter progress(messages, options.m_feedback.getProgressMode(), "estimating what the load needs");
    const std::optional<LoadEstimate> estimate = makeEstimate(options, dictionaryLimit);
    if (!estimate)
        return;
    const size_t numberOfColumns = options.m_idsName.empty() ? 0 : options.m_rows.getNumberOfColumns(options.m_files);
    const uint64_t neededBytes = ShardedLoadNeeds::predictDiskBytes(*estimate, dictionary.getManifest(),
                                                                    numberOfColumns, isFull, dictionaryLimit);
    if (const std::optional<uint64_t> freeBytes = OutputCheck::getFreeBytes(folderName);
        freeBytes && *freeBytes < neededBytes)
        throw ToolFailure(ExitCode::FAILURE, "the load needs up to about " + std::to_string(neededBytes) +
                                                 " bytes in '" + folderName + "', and its disk has " +
                                                 std::to_string(*freeBytes) + " free; --force tries it nevertheless");
}

/// Removes unnamed files that the load leaves in the folder, however it ends; under the folder's lock.
class Remains : private Unmovable {
public:
    explicit Remains(const std::string& folderName) : m_folderName(folderName) {}
    ~Remains() { LoadCheckpoint::removeRemains(m_folderName); }

private:
    const std::string m_folderName;
};

/// Returns whether another process can read an input from its start again.
bool canReadAgain(const LoadOptions& options) {
    return std::ranges::all_of(options.m_files, [](const auto& file) {
        std::error_code error;
        return file.first != STANDARD_STREAM && std::filesystem::is_regular_file(file.first, error);
    });
}

/// Returns the maximum size of the largest shard after it has resolved its spilled terms.
uint64_t getBytesOfLargestShard(const ShardedDictionary& dictionary, const ShardSpill& spill) {
    uint64_t largest = 0;
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        largest =
            std::max(largest, dictionary.getManifest().m_shards[shard].m_fileBytes + spill.getBytesOfTerms(shard));
    return largest;
}

/// Lets every shard resolve its spilled terms, one shard per thread. All have been saved.
void resolveSpilled(const size_t numberOfThreads, ShardedDictionary& dictionary, ShardSpill& spill,
                    LoadCheckpoint* const checkpoint) {
    std::atomic<uint32_t> nextShard = 0;
    WorkerGroup workers([&nextShard] { nextShard = ShardLayout::NUMBER_OF_SHARDS; });
    workers.start(numberOfThreads, [&] {
        for (uint32_t shard = nextShard++; shard < ShardLayout::NUMBER_OF_SHARDS; shard = nextShard++)
            if (spill.hasTerms(shard)) {
                spill.resolveShard(dictionary, shard);
                dictionary.saveAndRelease(shard);
                if (checkpoint != nullptr)
                    checkpoint->noteResolved(shard);
            }
    });
    workers.join();
}

/// Returns whether a dictionary's shards, when all are in memory to grow, will probably exceed the limit.
bool areTooLarge(const ShardedDictionary& dictionary, const size_t dictionaryLimit) {
    return ShardedLoadNeeds::predictMemory(dictionary.getManifest()) >
           ShardedLoadNeeds::getLargestMemory(dictionaryLimit);
}

/// `resumedName` is the folder's name while the load resumes an unfinished one and has not replaced it yet, also after a
/// throw; otherwise it stays empty.
ExitCode load(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput, std::string& resumedName) {
    const size_t dictionaryLimit =
        MemoryLimit::apply(options.m_memoryLimit, options.m_numberOfThreads, ShardedLoadNeeds::BYTES_OF_THREAD,
                           ShardedLoadNeeds::BYTES_OF_SPILL);
    const ShardedFolder folder(options);
    checkOtherOutputs(options);
    OutputLock lock(folder.getManifestName(), options.m_output.m_waits, options.m_feedback.getNoteOutput(errorOutput));
    folder.check(); // The folder may have changed since.
    const Remains remains(folder.getName());
    std::optional<RowOutput> rows;
    if (!options.m_idsName.empty()) {
        rows.emplace(options, output, options.m_feedback.getNoteOutput(errorOutput));
        checkOtherOutputs(options); // The file may have been created or changed since.
    }
    MessageOutput messages(errorOutput);
    std::unique_ptr<ShardedDictionary> ownedDictionary =
        options.m_intoName.empty()
            ? std::make_unique<ShardedDictionary>(DictionaryOptions{.m_memoryLimit = dictionaryLimit})
            : ShardedDictionary::open(options.m_intoName, {.m_memoryLimit = dictionaryLimit});
    const uint64_t firstNumber = ownedDictionary->getNumberOfResources();
    BlankNodeOptions blankNodes = options.m_blankNodes;
    if (blankNodes.m_mode == BlankNodeScope::Mode::DOCUMENTS)
        blankNodes.m_firstDocument = ownedDictionary->getManifest().m_nextDocument;
    LoadWork work{.m_task = "blocks of " + std::to_string(ShardResolver::BLOCK_SIZE) + ' ' +
                            describeTask(options, ownedDictionary->getManifest(), stampInputs(options)),
                  .m_folderState = LoadCheckpoint::describeState(folder.getName()),
                  .m_isFull = areTooLarge(*ownedDictionary, dictionaryLimit)};
    std::optional<LoadCheckpoint::Unfinished> unfinished =
        readUnfinished(options, folder.getName(), work.m_folderState);
    if (unfinished && unfinished->m_work.m_task == work.m_task && canReadAgain(options)) {
        work = std::move(unfinished->m_work);
        resumedName = folder.getName();
        ownedDictionary = ShardedDictionary::open(folder.getName(), std::move(unfinished->m_manifest),
                                                  {.m_memoryLimit = dictionaryLimit});
        // With less memory than before, the shards may not fit any more.
        work.m_isFull = work.m_isFull || areTooLarge(*ownedDictionary, dictionaryLimit);
        options.m_feedback.getNoteOutput(errorOutput) << "resuming the interrupted load, which has " +
                                                             std::to_string(ownedDictionary->getNumberOfResources()) +
                                                             " terms so far\n";
    } else {
        if (unfinished && !options.m_output.m_isForced)
            refuseToGiveUp(folder.getName(), unfinished->m_work, false);
        requireRoom(options, folder.getName(), *ownedDictionary, work.m_isFull, dictionaryLimit, messages);
        if (unfinished)
            options.m_feedback.getNoteOutput(errorOutput)
                << "discarding another, interrupted load into '" + toPrintable(folder.getName()) + "'\n";
        LoadCheckpoint::removeFrom(folder.getName());
    }
    ShardedDictionary& dictionary = *ownedDictionary;
    LoadRun run(options, output, messages, errorOutput);
    ShardSpill spill(folder.getName(), work);
    if (!resumedName.empty())
        spill.keep(); // even if this process saves nothing
    std::optional<LoadCheckpoint> checkpoint;
    if (canReadAgain(options) && options.m_checkpoint.isWanted())
        checkpoint.emplace(folder.getName(), options.m_checkpoint, options.m_numberOfThreads, dictionary, spill);
    {
        ShardResolver::Settings settings;
        settings.m_largestMemory = ShardedLoadNeeds::getLargestMemory(dictionaryLimit);
        settings.m_numberOfColumns = rows ? rows->getLayout().m_columns : 0;
        settings.m_isLenient = options.m_isLenient;
        if (checkpoint) {
            settings.m_isSaveDue = [&checkpoint] { return checkpoint->isDue(); };
            settings.m_save = [&checkpoint](LoadWork& soFar) { checkpoint->save(soFar); };
        }
        ShardResolver resolver(dictionary, spill, work, std::move(settings));
        FileLoader loader(resolver, run.getJournal(), run.getSettings(), blankNodes);
        if (!run.load(loader, {[&] { return dictionary.getNumberOfResources() - firstNumber; },
                               [&] { return dictionary.getMemoryInUse(); }, getTotalBytes(options.m_files)}))
            return run.tellStop();
    }
    LoadReport report = run.makeReport(blankNodes.m_firstDocument);
    report.m_memoryBytes = dictionary.getMemoryInUse();
    {
        const ProgressReporter progress(messages, options.m_feedback.getProgressMode(),
                                        "saving '" + toPrintable(folder.getName()) + "'");
        if (spill.hasAnyTerms()) {
            dictionary.saveAndRelease(folder.getName(), options.m_numberOfThreads);
            work.m_fileIndex = options.m_files.size();
            work.m_blockIndex = 0;
            work.m_isFull = true;
            if (checkpoint)
                checkpoint->startResolving(work);
            resolveSpilled(ShardedLoadNeeds::getNumberOfResolvers(
                               options.m_numberOfThreads, getBytesOfLargestShard(dictionary, spill), dictionaryLimit),
                           dictionary, spill, checkpoint ? &*checkpoint : nullptr);
        }
        if (rows) {
            rows->open(dictionary.getEndOfResourceIDs() - 1);
            spill.writeRows(rows->getLayout(), dictionary, rows->getStream());
        }
        ShardManifest manifest =
            dictionary.saveShards(folder.getName(), ShardedDictionary::State::WHOLE, options.m_numberOfThreads);
        addInputs(options, run.getStatementsOfFiles(), manifest);
        OutputFile file(lock);
        manifest.write(file.getStream());
        if (rows)
            rows->commitWith(manifest.m_history, dictionary.getEndOfResourceIDs() - 1, file);
        else
            file.commit();
        dictionary.noteSaved(folder.getName(), std::move(manifest));
        LoadCheckpoint::removeFrom(folder.getName());
        resumedName.clear();
    }
    addDictionary(dictionary.getManifest(), report);
    std::vector<Lookup> lookups = options.m_lookups;
    for (Lookup& lookup : lookups)
        lookup.answer(dictionary);
    return run.print(report, lookups);
}

} // namespace

ExitCode runShardedLoad(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    std::string resumedName;
    try {
        return load(options, output, errorOutput, resumedName);
    } catch (const MelnarException& exception) {
        if (resumedName.empty() || exception.getKind() != FailureKind::DAMAGED_FILE)
            throw;
        refuseToResume(resumedName, exception);
    }
}

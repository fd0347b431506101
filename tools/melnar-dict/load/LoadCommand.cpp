#include "tools/melnar-dict/load/LoadCommand.h"

#include "tools/melnar-dict/input/PackedFormat.h"
#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/load/LoadOutputs.h"
#include "tools/melnar-dict/load/LoadReport.h"
#include "tools/melnar-dict/load/LoadRun.h"
#include "tools/melnar-dict/load/RowOutput.h"
#include "tools/melnar-dict/load/ShardedLoadCommand.h"
#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/saved/SaveDictionary.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/OutputLock.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/ResourceValue.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace {

/// Adds the contents of the dictionary.
void addDictionary(const Dictionary& dictionary, LoadReport& report) {
    for (const auto& [resourceID, value] : dictionary) {
        ++report.m_distinct[value.m_datatypeID];
        (isOfStrings(value.m_datatypeID) ? report.m_textBytes : report.m_otherTextBytes) +=
            value.m_dataSize - 1 + value.m_auxiliaryDataSize;
    }
    report.m_memoryBytes = dictionary.getMemoryInUse();
}

/// Refuses an output that would destroy something. Returns whether it is the dictionary given with --into.
bool checkOutput(const LoadOptions& options) {
    const OutputCheck check(options.m_output.m_outputName, options.m_output.m_isForced);
    for (const auto& [fileName, format] : options.m_files)
        check.refuseInput(fileName);
    const bool isInPlace = !options.m_intoName.empty() && check.isOutput(options.m_intoName);
    if (!isInPlace) {
        if (!options.m_intoName.empty())
            check.refuseInput(options.m_intoName);
        check.requireDictionaryOrNothing();
    }
    struct stat oldDictionary;
    if (!options.m_intoName.empty() && ::stat(options.m_intoName.c_str(), &oldDictionary) == 0)
        check.requireRoom(static_cast<uint64_t>(oldDictionary.st_size)); // it only grows
    return isInPlace;
}

std::unique_ptr<Dictionary> openDictionary(const LoadOptions& options, const std::string& intoName,
                                           const size_t dictionaryLimit, MessageOutput& messages) {
    if (intoName.empty())
        return std::make_unique<Dictionary>(
            DictionaryOptions{.m_memoryLimit = dictionaryLimit,
                              .m_maximumNumberOfResources = options.m_maximumNumberOfResources.value_or(
                                  Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS)});
    const ProgressReporter progress(messages, options.m_feedback.getProgressMode(),
                                    "opening '" + toPrintable(options.m_intoName) + "'");
    return Dictionary::open(intoName, {.m_memoryLimit = dictionaryLimit});
}

/// Returns how terms are loaded; starts the rows, if there are any.
FileLoader::TermSettings makeTermSettings(const LoadOptions& options, const Dictionary& dictionary,
                                          std::optional<RowOutput>& rows) {
    FileLoader::TermSettings terms;
    terms.m_order = options.m_order.value_or(rows ? TermResolver::Order::INPUT : TermResolver::Order::ANY);
    terms.m_blankNodes = options.m_blankNodes;
    if (!options.m_loadsOnlyStrings && options.m_blankNodes.m_mode == BlankNodeScope::Mode::DOCUMENTS)
        terms.m_blankNodes.m_firstDocument = FileLoader::getNextDocument(dictionary);
    if (rows) {
        rows->open(dictionary.getMaximumNumberOfResources());
        terms.m_rowStream = &rows->getStream();
        terms.m_rowLayout = rows->getLayout();
    }
    return terms;
}

} // namespace

ExitCode runLoad(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    if (options.m_makesShards)
        return runShardedLoad(options, output, errorOutput);
    const size_t dictionaryLimit = MemoryLimit::apply(
        options.m_memoryLimit, options.m_numberOfThreads,
        options.m_loadsOnlyStrings ? MemoryLimit::BYTES_OF_THREAD : MemoryLimit::BYTES_OF_THREAD_WITH_TERMS);
    checkOtherOutputs(options);
    std::optional<OutputLock> lock;
    std::string intoName = options.m_intoName;
    if (!options.m_output.m_outputName.empty()) {
        static_cast<void>(checkOutput(options)); // before a wait, which may be long
        lock.emplace(options.m_output.m_outputName, options.m_output.m_waits,
                     options.m_feedback.getNoteOutput(errorOutput));
        if (checkOutput(options)) // The file may have been created or changed since.
            intoName = lock->getTargetName();
    }
    std::optional<RowOutput> rows;
    if (!options.m_idsName.empty()) {
        rows.emplace(options, output, options.m_feedback.getNoteOutput(errorOutput));
        checkOtherOutputs(options); // The file may have been created or changed since.
    }
    MessageOutput messages(errorOutput);
    const std::unique_ptr<Dictionary> ownedDictionary = openDictionary(options, intoName, dictionaryLimit, messages);
    Dictionary& dictionary = *ownedDictionary;
    LoadRun run(options, output, messages, errorOutput);
    const FileLoader::TermSettings terms = makeTermSettings(options, dictionary, rows);
    {
        std::optional<FileLoader> loader;
        if (options.m_loadsOnlyStrings)
            loader.emplace(dictionary, run.getJournal(), run.getSettings());
        else
            loader.emplace(dictionary, run.getJournal(), run.getSettings(), terms);
        const uint64_t firstResourceID = dictionary.getNextResourceID();
        if (!run.load(*loader, {[&] { return dictionary.getNextResourceID() - firstResourceID; },
                                [&] { return dictionary.getMemoryInUse(); }, getTotalBytes(options.m_files)}))
            return run.tellStop();
    }
    dictionary.commit();
    // Counts the contents of the dictionary concurrently with the save, if the system has a thread for it.
    std::future<LoadReport> report =
        std::async(lock ? std::launch::async | std::launch::deferred : std::launch::deferred, [&] {
            LoadReport made = run.makeReport(terms.m_blankNodes.m_firstDocument);
            addDictionary(dictionary, made);
            return made;
        });
    if (lock) {
        const ProgressReporter progress(messages, options.m_feedback.getProgressMode(),
                                        "saving '" + toPrintable(options.m_output.m_outputName) + "'");
        if (rows)
            rows->saveWith(dictionary, *lock);
        else
            saveDictionary(dictionary, *lock);
        rows.reset();
        lock.reset();
    }
    std::vector<Lookup> lookups = options.m_lookups;
    for (Lookup& lookup : lookups)
        lookup.answer(dictionary);
    return run.print(report.get(), lookups);
}

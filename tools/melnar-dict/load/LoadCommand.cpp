#include "tools/melnar-dict/load/LoadCommand.h"

#include "tools/melnar-dict/input/PackedFormat.h"
#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/load/LoadReport.h"
#include "tools/melnar-dict/load/RowOutput.h"
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

LoadReport makeReport(const Dictionary& dictionary, const InputJournal& journal, const uint64_t firstDocument,
                      const double seconds) {
    LoadReport report;
    report.m_firstDocument = firstDocument;
    report.m_counts = journal.getCounts();
    report.m_errors = journal.getNumberOfErrors();
    dictionary.forEachResource([&report](uint64_t, const ResourceValue& value) {
        ++report.m_distinct[value.m_datatypeID];
        (isOfStrings(value.m_datatypeID) ? report.m_textBytes : report.m_otherTextBytes) +=
            value.m_dataSize - 1 + value.m_auxiliaryDataSize;
    });
    report.m_memoryBytes = dictionary.getMemoryInUse();
    report.m_seconds = seconds;
    return report;
}

void print(const LoadReport& report, const std::vector<Lookup>& lookups, const bool asJson, StandardOutput& output,
           std::ostream& errorOutput) {
    if (asJson)
        output.write(report.toJson(lookups));
    else {
        output.write(report.toText());
        for (const Lookup& lookup : lookups)
            output.write(lookup.toText());
    }
    output.flush();
    for (const Lookup& lookup : lookups)
        lookup.reportFlaw(errorOutput);
}

/// Refuses an output that would destroy something. Returns whether it is the dictionary that is added to.
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

/// Refuses another output than the dictionary that would destroy something.
void checkOtherOutput(const LoadOptions& options, const std::string& outputName) {
    refusePackedOutput(outputName);
    const OutputCheck check(outputName, options.m_output.m_isForced);
    for (const auto& [fileName, format] : options.m_files)
        check.refuseInput(fileName);
    if (!options.m_intoName.empty())
        check.refuseInput(options.m_intoName);
    if (!options.m_output.m_outputName.empty()) {
        OutputCheck(options.m_output.m_outputName, options.m_output.m_isForced).refuseOutput(outputName);
        check.refuseOutput(options.m_output.m_outputName);
    }
    check.refuseDictionary();
}

/// Refuses what is skipped and rows that would destroy something, or each other.
void checkOtherOutputs(const LoadOptions& options) {
    const bool hasRejectedFile = !options.m_rejectedName.empty();
    const bool hasIdFile = !options.m_idsName.empty() && options.m_idsName != STANDARD_STREAM;
    if (hasRejectedFile)
        checkOtherOutput(options, options.m_rejectedName);
    if (hasIdFile)
        checkOtherOutput(options, options.m_idsName);
    if (hasRejectedFile && hasIdFile)
        OutputCheck(options.m_idsName, options.m_output.m_isForced).refuseOutput(options.m_rejectedName);
    if (options.m_idsName == STANDARD_STREAM)
        for (const auto& [fileName, format] : options.m_files)
            OutputCheck::ofStandardOutput().refuseInput(fileName);
}

std::unique_ptr<Dictionary> openDictionary(const LoadOptions& options, const std::string& intoName,
                                           const size_t dictionaryLimit, MessageOutput& messages) {
    if (intoName.empty())
        return std::make_unique<Dictionary>(
            dictionaryLimit,
            options.m_maximumNumberOfResources.value_or(Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS));
    const ProgressReporter progress(messages, options.m_feedback.getProgressMode(),
                                    "opening '" + toPrintable(options.m_intoName) + "'");
    return Dictionary::open(intoName, dictionaryLimit);
}

/// Loads all files, unless the journal stops.
void loadFiles(const LoadOptions& options, const FileLoader::TermSettings& terms, Dictionary& dictionary,
               InputJournal& journal, MessageOutput& messages) {
    std::atomic<uint64_t> bytesRead = 0;
    const FileLoader::Settings reading{options.m_numberOfThreads,
                                       options.m_isLenient,
                                       options.m_base,
                                       BlockReader::DEFAULT_BLOCK_SIZE,
                                       options.m_maximumLine,
                                       !options.m_rejectedName.empty(),
                                       options.m_version,
                                       &bytesRead};
    std::optional<FileLoader> loader;
    if (options.m_loadsOnlyStrings)
        loader.emplace(dictionary, journal, reading);
    else
        loader.emplace(dictionary, journal, reading, terms);
    const uint64_t firstResourceID = dictionary.getNextResourceID();
    const ProgressReporter progress(
        messages, options.m_feedback.getProgressMode(),
        [&, totalBytes = getTotalBytes(options.m_files)]() -> ProgressFigures {
            return {"loading",
                    bytesRead.load(std::memory_order_relaxed),
                    totalBytes,
                    {options.m_loadsOnlyStrings ? ProgressFigures::Count{journal.getLiteralsSoFar(), "literals"}
                                                : ProgressFigures::Count{journal.getStatementsSoFar(), "statements"},
                     {dictionary.getNextResourceID() - firstResourceID, "new distinct"}},
                    dictionary.getMemoryInUse()};
        });
    for (const auto& [fileName, format] : options.m_files) {
        loader->load(fileName, format);
        if (journal.isStopped())
            return;
    }
}

/// How terms are loaded; begins the rows, if there are any.
FileLoader::TermSettings makeTermSettings(const LoadOptions& options, const Dictionary& dictionary,
                                          std::optional<RowOutput>& rows) {
    FileLoader::TermSettings terms;
    terms.m_order = options.m_order.value_or(rows ? TermResolver::Order::INPUT : TermResolver::Order::ANY);
    terms.m_blankNodes = options.m_blankNodes;
    if (!options.m_loadsOnlyStrings && options.m_blankNodes.m_mode == BlankNodeScope::Mode::DOCUMENTS)
        terms.m_blankNodes.m_firstDocument = FileLoader::getNextDocument(dictionary);
    if (rows) {
        rows->open(dictionary);
        terms.m_rowStream = &rows->getStream();
        terms.m_rowLayout = rows->getLayout();
    }
    return terms;
}

} // namespace

ExitCode runLoad(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput) {
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
        if (checkOutput(options)) // The file may have come or changed since.
            intoName = lock->getTargetName();
    }
    std::optional<RowOutput> rows;
    if (!options.m_idsName.empty()) {
        rows.emplace(options, output, options.m_feedback.getNoteOutput(errorOutput));
        checkOtherOutputs(options); // The file may have come or changed since.
    }
    MessageOutput messages(errorOutput);
    const std::unique_ptr<Dictionary> ownedDictionary = openDictionary(options, intoName, dictionaryLimit, messages);
    Dictionary& dictionary = *ownedDictionary;
    std::optional<RejectedFile> rejectedFile;
    if (!options.m_rejectedName.empty())
        rejectedFile.emplace(options.m_rejectedName);
    InputJournal journal({options.m_isLenient, options.m_numberOfErrorsShown, options.m_feedback.m_isQuiet}, messages,
                         rejectedFile ? &*rejectedFile : nullptr);
    const FileLoader::TermSettings terms = makeTermSettings(options, dictionary, rows);
    const auto start = std::chrono::steady_clock::now();
    loadFiles(options, terms, dictionary, journal, messages);
    if (rejectedFile)
        rejectedFile->close();
    if (journal.isStopped()) {
        if (options.m_asksForJson)
            printError(journal.getLastError(), journal.getExitCode(), JsonLayout::DOCUMENT, output);
        return journal.getExitCode();
    }
    journal.reportHiddenErrors();
    dictionary.commit();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - start;
    // Counts what is in the dictionary beside the save, if the system has a thread for it.
    std::future<LoadReport> report =
        std::async(lock ? std::launch::async | std::launch::deferred : std::launch::deferred, [&] {
            return makeReport(dictionary, journal, terms.m_blankNodes.m_firstDocument, duration.count());
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
    if (options.m_idsName == STANDARD_STREAM) {
        output.flush();
        options.m_feedback.getNoteOutput(errorOutput) << report.get().toText();
        return ExitCode::DONE;
    }
    std::vector<Lookup> lookups = options.m_lookups;
    for (Lookup& lookup : lookups)
        lookup.answer(dictionary);
    print(report.get(), lookups, options.m_asksForJson, output, errorOutput);
    return std::all_of(lookups.begin(), lookups.end(), [](const Lookup& lookup) { return lookup.isAnswered(); })
               ? ExitCode::DONE
               : ExitCode::BAD_DATA;
}

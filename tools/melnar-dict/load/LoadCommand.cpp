#include "tools/melnar-dict/load/LoadCommand.h"

#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/load/LoadReport.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/saved/SaveDictionary.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/OutputLock.h"

#include "Engine/core/data-store/Dictionary.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include <sys/stat.h>

namespace {

LoadReport makeReport(const Dictionary& dictionary, const InputJournal& journal, const double seconds) {
    LoadReport report;
    report.m_counts = journal.getCounts();
    report.m_distinctStrings = dictionary.getNumberOfResources(D_XSD_STRING);
    report.m_distinctPlainLiterals = dictionary.getNumberOfResources(D_RDF_PLAIN_LITERAL);
    report.m_errors = journal.getNumberOfErrors();
    report.m_textBytes = dictionary.getTextBytes(D_XSD_STRING) + dictionary.getTextBytes(D_RDF_PLAIN_LITERAL);
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

/// Refuses a file for what is skipped that would destroy something.
void checkRejectedFile(const LoadOptions& options) {
    const OutputCheck check(options.m_rejectedName, options.m_output.m_isForced);
    for (const auto& [fileName, format] : options.m_files)
        check.refuseInput(fileName);
    if (!options.m_intoName.empty())
        check.refuseInput(options.m_intoName);
    if (!options.m_output.m_outputName.empty())
        OutputCheck(options.m_output.m_outputName, options.m_output.m_isForced).refuseOutput(options.m_rejectedName);
    check.refuseDictionary();
}

} // namespace

ExitCode runLoad(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const size_t dictionaryLimit = MemoryLimit::apply(options.m_memoryLimit, options.m_numberOfThreads);
    if (!options.m_rejectedName.empty())
        checkRejectedFile(options);
    std::ostream silence(nullptr);
    std::optional<OutputLock> lock;
    std::string intoName = options.m_intoName;
    if (!options.m_output.m_outputName.empty()) {
        static_cast<void>(checkOutput(options)); // before a wait, which may be long
        lock.emplace(options.m_output.m_outputName, options.m_output.m_waits,
                     options.m_isQuiet ? silence : errorOutput);
        if (checkOutput(options)) // The file may have come or changed since.
            intoName = lock->getTargetName();
    }
    const std::unique_ptr<Dictionary> ownedDictionary =
        intoName.empty() ? std::make_unique<Dictionary>(dictionaryLimit,
                                                        options.m_maximumNumberOfResources.value_or(
                                                            Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS))
                         : Dictionary::open(intoName, dictionaryLimit);
    Dictionary& dictionary = *ownedDictionary;
    std::optional<RejectedFile> rejectedFile;
    if (!options.m_rejectedName.empty())
        rejectedFile.emplace(options.m_rejectedName);
    InputJournal journal({options.m_isLenient, options.m_numberOfErrorsShown, options.m_isQuiet}, errorOutput,
                         rejectedFile ? &*rejectedFile : nullptr);
    FileLoader loader(dictionary, journal,
                      {options.m_numberOfThreads, options.m_isLenient, options.m_base, BlockReader::DEFAULT_BLOCK_SIZE,
                       options.m_maximumLine, rejectedFile.has_value(), options.m_version});
    const auto start = std::chrono::steady_clock::now();
    for (const auto& [fileName, format] : options.m_files) {
        loader.load(fileName, format);
        if (journal.isStopped())
            break;
    }
    if (rejectedFile)
        rejectedFile->close();
    if (journal.isStopped())
        return journal.getExitCode();
    journal.reportHiddenErrors();
    dictionary.commit();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - start;
    if (lock) {
        saveDictionary(dictionary, *lock);
        lock.reset();
    }
    std::vector<Lookup> lookups = options.m_lookups;
    for (Lookup& lookup : lookups)
        lookup.answer(dictionary);
    print(makeReport(dictionary, journal, duration.count()), lookups, options.m_asksForJson, output, errorOutput);
    return std::all_of(lookups.begin(), lookups.end(), [](const Lookup& lookup) { return lookup.isAnswered(); })
               ? ExitCode::DONE
               : ExitCode::BAD_DATA;
}

#include "tools/melnar-dict/load/LoadCommand.h"

#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/load/LoadOptions.h"
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
#include <utility>

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

void print(const LoadReport& report, const LoadOptions& options, StandardOutput& output) {
    if (options.m_asksForJson)
        output.write(report.toJson(options.m_lookups));
    else {
        output.write(report.toText());
        for (const Lookup& lookup : options.m_lookups)
            output.write(lookup.toText());
    }
    output.flush();
}

/// Refuses an output that would destroy something. Returns whether it is the dictionary that is added to.
bool checkOutput(const LoadOptions& options) {
    const OutputCheck check(options.m_outputName, options.m_isForced);
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

} // namespace

ExitCode runLoad(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput) {
    LoadOptions options = LoadOptions::parse(std::move(arguments));
    if (options.m_asksForHelp) {
        output.write(LoadOptions::getHelp());
        output.flush();
        return ExitCode::DONE;
    }
    std::optional<OutputLock> lock;
    if (!options.m_outputName.empty()) {
        static_cast<void>(checkOutput(options)); // before a wait, which may be long
        lock.emplace(options.m_outputName, options.m_waits, errorOutput);
        if (checkOutput(options)) // The file may have come or changed since.
            options.m_intoName = lock->getTargetName();
    }
    const std::unique_ptr<Dictionary> ownedDictionary =
        options.m_intoName.empty()
            ? std::make_unique<Dictionary>(options.m_memoryLimit, options.m_maximumNumberOfResources)
            : Dictionary::open(options.m_intoName, options.m_memoryLimit);
    Dictionary& dictionary = *ownedDictionary;
    InputJournal journal(options.m_isLenient, errorOutput);
    FileLoader loader(dictionary, journal,
                      {options.m_numberOfThreads, options.m_isLenient, options.m_base, BlockReader::DEFAULT_BLOCK_SIZE,
                       options.m_maximumLine});
    const auto start = std::chrono::steady_clock::now();
    for (const auto& [fileName, format] : options.m_files) {
        loader.load(fileName, format);
        if (journal.isStopped())
            return journal.getExitCode();
    }
    dictionary.commit();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - start;
    if (lock) {
        saveDictionary(dictionary, *lock);
        lock.reset();
    }
    for (Lookup& lookup : options.m_lookups)
        lookup.answer(dictionary);
    print(makeReport(dictionary, journal, duration.count()), options, output);
    return std::all_of(options.m_lookups.begin(), options.m_lookups.end(),
                       [](const Lookup& lookup) { return lookup.isAnswered(); })
               ? ExitCode::DONE
               : ExitCode::BAD_DATA;
}

#include "tools/melnar-dict/saved/CompactCommand.h"

#include "tools/melnar-dict/saved/OpenDictionary.h"
#include "tools/melnar-dict/saved/SaveDictionary.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char* TEXT = R"(
Gives the resources of a saved dictionary new IDs from 1 without gaps, in the
order of the old ones, and saves it without unused bytes. Prints
"old ID<tab>new ID" for every resource whose ID has changed. A folder of shards
is refused, as its IDs are dense.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 2 wrong command line or a FILE that is not a dictionary,
3 the dictionary cannot be read or written, another process is writing it, or a
limit was reached; the file is then the old one or the new one.
)";

/// Refuses an output that would destroy something. Returns whether it is the dictionary itself.
bool checkOutput(const std::string& outputName, const CompactOptions& options) {
    const OutputCheck check(outputName, options.m_output.m_isForced);
    if (check.isOutput(options.m_dictionaryName))
        return true;
    check.refuseInput(options.m_dictionaryName);
    check.requireDictionaryOrNothing();
    return false;
}

} // namespace

VerbDescription describeCompact(CompactOptions& options) {
    VerbDescription verb{"compact",
                         "give a saved dictionary dense resource IDs",
                         TEXT,
                         EXIT_CODES,
                         {{"compact dump.dict -o small.dict > moved.tsv",
                           "Saves a compacted copy, and a list of the IDs that have changed."}}};
    addDictionary(verb, options);
    addJson(verb, JsonLayout::ROW, options.m_asksForJson);
    addFeedback(verb, options.m_feedback);
    addOutput(verb, OutputKind::FILE_ONLY, "FILE", "save to FILE and leave DICTIONARY as it is",
              "replace a FILE that is not a dictionary", options.m_output);
    return verb;
}

ExitCode runCompact(const CompactOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    if (ShardedDictionary::isFolder(options.m_dictionaryName))
        throw ToolFailure(ExitCode::USAGE,
                          "'" + options.m_dictionaryName +
                              "' is a folder of shards, whose IDs are dense already: there is nothing to "
                              "compact");
    const size_t dictionaryLimit = MemoryLimit::apply(options.m_memoryLimit, 1);
    const std::string& outputName =
        options.m_output.m_outputName.empty() ? options.m_dictionaryName : options.m_output.m_outputName;
    static_cast<void>(checkOutput(outputName, options)); // before a wait, which may be long
    OutputLock lock(outputName, options.m_output.m_waits, options.m_feedback.getNoteOutput(errorOutput));
    const bool isInPlace = checkOutput(outputName, options); // The file may have been created or changed since.
    MessageOutput messages(errorOutput);
    std::optional<ProgressReporter> progress(std::in_place, messages, options.m_feedback.getProgressMode(),
                                             "compacting '" + toPrintable(options.m_dictionaryName) + "'");
    const auto dictionary = openToRead(isInPlace ? lock.getTargetName() : options.m_dictionaryName, dictionaryLimit);
    const std::vector<uint64_t> newResourceIDs = dictionary->compact();
    // The list of changed IDs is printed when the new file is on the disk, and before the old one is replaced.
    const auto printChangedIDs = [&] {
        progress.reset(); // before output to the same terminal
        for (uint64_t resourceID = 1; resourceID < newResourceIDs.size(); ++resourceID)
            if (newResourceIDs[resourceID] != 0 && newResourceIDs[resourceID] != resourceID)
                output.write(
                    options.m_asksForJson
                        ? toText(Json{{"old", resourceID}, {"new", newResourceIDs[resourceID]}}, JsonLayout::ROW)
                        : std::to_string(resourceID) + '\t' + std::to_string(newResourceIDs[resourceID]) + '\n');
        output.flush();
    };
    saveDictionary(*dictionary, lock, printChangedIDs);
    return ExitCode::DONE;
}

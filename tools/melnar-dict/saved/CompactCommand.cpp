#include "tools/melnar-dict/saved/CompactCommand.h"

#include "tools/melnar-dict/saved/DictionaryArguments.h"
#include "tools/melnar-dict/saved/SaveDictionary.h"
#include "tools/melnar-dict/shell/OutputCheck.h"

#include "Engine/core/data-store/Dictionary.h"

#include <utility>

namespace {

constexpr const char* HELP = R"(usage: melnar-dict compact [OPTION...] DICTIONARY

Gives the resources of a saved dictionary new IDs from 1 without gaps, in the
order of the old ones, and saves it without the bytes that none of them uses.
Prints "old ID<tab>new ID" for every resource whose ID has changed.

  -o, --output FILE    save to FILE and leave DICTIONARY as it is
  --wait               if another process is writing the file, wait until it
                       has finished, and read it only then
  --force              replace a FILE that is not a dictionary
  --memory-limit SIZE  bytes the dictionary may use, such as 512M or 16G
                       (default: the machine's memory)
  --help               print this text

Exit codes: 0 done, 2 wrong command line or a FILE that is not a dictionary,
3 the dictionary cannot be read or written, another process is writing it, or a
limit was reached; the file is then the old one or the new one.
)";

/// Refuses an output that would destroy something. Returns whether it is the dictionary itself.
bool checkOutput(const std::string& outputName, const DictionaryArguments& options) {
    const OutputCheck check(outputName, options.m_isForced);
    if (check.isOutput(options.m_dictionaryName))
        return true;
    check.refuseInput(options.m_dictionaryName);
    check.requireDictionaryOrNothing();
    return false;
}

} // namespace

ExitCode runCompact(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput) {
    const DictionaryArguments options =
        DictionaryArguments::parse({.m_verb = "compact", .m_hasOutput = true}, std::move(arguments));
    if (options.m_asksForHelp) {
        output.write(HELP);
        output.flush();
        return ExitCode::DONE;
    }
    const std::string outputName = options.m_outputName.value_or(options.m_dictionaryName);
    static_cast<void>(checkOutput(outputName, options)); // before a wait, which may be long
    OutputLock lock(outputName, options.m_waits, errorOutput);
    const bool isInPlace = checkOutput(outputName, options); // The file may have come or changed since.
    const auto dictionary =
        Dictionary::open(isInPlace ? lock.getTargetName() : options.m_dictionaryName, options.m_memoryLimit);
    const std::vector<uint64_t> newResourceIDs = dictionary->compact();
    // What became of the IDs is told when the new ones are on the disk, and before the old ones are gone.
    const auto printChangedIDs = [&] {
        for (uint64_t resourceID = 1; resourceID < newResourceIDs.size(); ++resourceID)
            if (newResourceIDs[resourceID] != 0 && newResourceIDs[resourceID] != resourceID)
                output.write(std::to_string(resourceID) + '\t' + std::to_string(newResourceIDs[resourceID]) + '\n');
        output.flush();
    };
    saveDictionary(*dictionary, lock, printChangedIDs);
    return ExitCode::DONE;
}

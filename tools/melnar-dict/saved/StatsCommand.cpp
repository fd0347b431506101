#include "tools/melnar-dict/saved/StatsCommand.h"

#include "tools/melnar-dict/saved/DictionaryArguments.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <utility>

namespace {

constexpr const char* HELP = R"(usage: melnar-dict stats [OPTION...] DICTIONARY

Prints a tree of figures: memory and occupancy of every part, lengths of probes,
bytes of text and of memory beyond it, resources of each language.

  --json               print JSON instead of an indented tree
  --memory-limit SIZE  bytes the dictionary may use, such as 512M or 16G
                       (default: the machine's memory)
  --help               print this text

Exit codes: 0 done, 2 wrong command line, 3 the dictionary cannot be read, a
limit was reached, or the output cannot be written.
)";

} // namespace

ExitCode runStats(std::vector<std::string> arguments, StandardOutput& output, std::ostream&) {
    const DictionaryArguments options =
        DictionaryArguments::parse({.m_verb = "stats", .m_hasJson = true}, std::move(arguments));
    if (options.m_asksForHelp) {
        output.write(HELP);
        output.flush();
        return ExitCode::DONE;
    }
    const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
    const std::unique_ptr<ComponentInfo> componentInfo = dictionary->getDetailedComponentInfo();
    MemoryOutputStream text;
    if (options.m_asksForJson)
        componentInfo->printJSON(text);
    else
        componentInfo->printText(text);
    output.write(text.getBytes());
    output.flush();
    return ExitCode::DONE;
}

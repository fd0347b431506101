#include "tools/melnar-dict/saved/StatsCommand.h"

#include "tools/melnar-dict/shell/SharedOptions.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <memory>

namespace {

constexpr const char* TEXT = R"(
Prints a tree of figures: memory and occupancy of every part, lengths of probes,
bytes of text and of memory beyond it, resources of each language.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 2 wrong command line, 3 the dictionary cannot be read, a
limit was reached, or the output cannot be written.
)";

} // namespace

VerbDescription describeStats(StatsOptions& options) {
    VerbDescription verb{"stats",
                         "describe a saved dictionary",
                         TEXT,
                         EXIT_CODES,
                         {{"stats dump.dict", "Prints figures of a dictionary."}}};
    addDictionary(verb, options);
    addJson(verb, options.m_asksForJson);
    return verb;
}

ExitCode runStats(const StatsOptions& options, StandardOutput& output, std::ostream&) {
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

#include "tools/melnar-dict/saved/DumpCommand.h"

#include "tools/melnar-dict/saved/ResourceRows.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

constexpr const char* TEXT = R"(
Prints "ID<tab>literal" for every resource in ascending order of the IDs, the
literal in Turtle syntax.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 a literal cannot be written, since its text is not UTF-8 or its tag malformed, and was left out, 2 wrong
command line, 3 the dictionary cannot be read, a limit was reached, or the output cannot be written.
)";

// Enough for the dictionary to work at full speed.
constexpr uint64_t RESOURCES_OF_A_GROUP = 1024;

} // namespace

VerbDescription describeDump(DumpOptions& options) {
    VerbDescription verb{"dump",
                         "print all resource IDs with their literals",
                         TEXT,
                         EXIT_CODES,
                         {{"dump dump.dict | grep '@de$'", "Prints all literals in German."}}};
    addDictionary(verb, options);
    addJson(verb, JsonLayout::ROW, options.m_asksForJson);
    return verb;
}

ExitCode runDump(const DumpOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const auto dictionary = openDictionary(options);
    const uint64_t endResourceID = dictionary->getNextResourceID();
    std::vector<BatchEntry> entries;
    ResourceRows rows(options.m_asksForJson, output, errorOutput);
    ExitCode exitCode = ExitCode::DONE;
    for (uint64_t begin = 1; begin < endResourceID; begin += RESOURCES_OF_A_GROUP) {
        entries.resize(std::min(RESOURCES_OF_A_GROUP, endResourceID - begin));
        for (size_t index = 0; index < entries.size(); ++index)
            entries[index].m_resourceID = begin + index;
        dictionary->getResources(entries);
        for (const BatchEntry& entry : entries)
            if (entry.m_datatypeID != D_INVALID && !rows.print(entry))
                exitCode = ExitCode::BAD_DATA;
    }
    output.flush();
    return exitCode;
}

#include "tools/melnar-dict/saved/DumpCommand.h"

#include "tools/melnar-dict/saved/ResourceRows.h"
#include "tools/melnar-dict/saved/WholeEntries.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

namespace {

constexpr const char* TEXT = R"(
Prints "ID<tab>term" for every resource in ascending order of the IDs, with the
term in Turtle syntax. The shards of a folder are printed one after the other,
each in ascending order.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 a term that no RDF file can hold was left out, 2 wrong command line, 3 the dictionary cannot be read, a limit
was reached, or the output cannot be written.
)";

} // namespace

VerbDescription describeDump(DumpOptions& options) {
    VerbDescription verb{"dump",
                         "print all resource IDs with their terms",
                         TEXT,
                         EXIT_CODES,
                         {{"dump dump.dict | grep '@de$'", "Prints all literals in German."}}};
    addDictionary(verb, options);
    addJson(verb, JsonLayout::ROW, options.m_asksForJson);
    return verb;
}

ExitCode runDump(const DumpOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const auto dictionary = openDictionary(options);
    ResourceRows rows(options.m_asksForJson, output, errorOutput);
    ExitCode exitCode = ExitCode::DONE;
    dictionary->forEachPart([&](const SavedDictionary::Part& part) {
        forEachWholeEntry(part, [&](const BatchEntry& entry) {
            if (!rows.print(entry))
                exitCode = ExitCode::BAD_DATA;
        });
    });
    output.flush();
    return exitCode;
}

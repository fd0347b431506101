#include "tools/melnar-dict/saved/GetCommand.h"

#include "tools/melnar-dict/saved/Lookup.h"
#include "tools/melnar-dict/shell/NumberText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"

#include <optional>

namespace {

constexpr const char* TEXT = R"(
Prints "ID<tab>literal" for every ID, the literal in Turtle syntax, or
"not found<tab>ID".
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 something not found, 2 wrong command line, 3 the
dictionary cannot be read or a limit was reached.
)";

uint64_t parseResourceID(const std::string& text) {
    const std::optional<uint64_t> resourceID = parseNumber(text);
    if (!resourceID)
        throw ToolFailure(ExitCode::USAGE, "'" + text + "' is not a resource ID");
    return *resourceID;
}

} // namespace

VerbDescription describeGet(GetOptions& options) {
    VerbDescription verb{"get", "print the literals of resource IDs", TEXT, EXIT_CODES};
    addDictionary(verb, options);
    verb.m_operands.push_back({"ID", "a resource ID", true, [&options](const std::string& value) {
                                   options.m_resourceIDs.push_back(parseResourceID(value));
                               }});
    return verb;
}

ExitCode runGet(const GetOptions& options, StandardOutput& output, std::ostream&) {
    const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
    ExitCode exitCode = ExitCode::DONE;
    for (const uint64_t resourceID : options.m_resourceIDs) {
        Lookup lookup = Lookup::ofResourceID(resourceID);
        lookup.answer(*dictionary);
        output.write(lookup.toText());
        if (!lookup.isAnswered())
            exitCode = ExitCode::BAD_DATA;
    }
    output.flush();
    return exitCode;
}

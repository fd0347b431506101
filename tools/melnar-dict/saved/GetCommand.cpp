#include "tools/melnar-dict/saved/GetCommand.h"

#include "tools/melnar-dict/saved/DictionaryArguments.h"
#include "tools/melnar-dict/saved/Lookup.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"

#include <charconv>
#include <limits>
#include <utility>

namespace {

constexpr const char* HELP = R"(usage: melnar-dict get [OPTION...] DICTIONARY ID...

Prints "ID<tab>literal" for every ID, the literal in Turtle syntax, or
"not found<tab>ID".

  --memory-limit SIZE  bytes the dictionary may use, such as 512M or 16G
                       (default: the machine's memory)
  --help               print this text

Exit codes: 0 done, 1 something not found, 2 wrong command line, 3 the
dictionary cannot be read or a limit was reached.
)";

uint64_t parseResourceID(const std::string& text) {
    uint64_t resourceID = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), resourceID);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        throw ToolFailure(ExitCode::USAGE, "'" + text + "' is not a resource ID");
    return resourceID;
}

} // namespace

ExitCode runGet(std::vector<std::string> arguments, StandardOutput& output, std::ostream&) {
    const DictionaryArguments options =
        DictionaryArguments::parse({"get", 1, std::numeric_limits<size_t>::max()}, std::move(arguments));
    if (options.m_asksForHelp) {
        output.write(HELP);
        output.flush();
        return ExitCode::DONE;
    }
    std::vector<Lookup> lookups;
    for (const std::string& operand : options.m_operands)
        lookups.push_back(Lookup::ofResourceID(parseResourceID(operand)));
    const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
    ExitCode exitCode = ExitCode::DONE;
    for (Lookup& lookup : lookups) {
        lookup.answer(*dictionary);
        output.write(lookup.toText());
        if (!lookup.isAnswered())
            exitCode = ExitCode::BAD_DATA;
    }
    output.flush();
    return exitCode;
}

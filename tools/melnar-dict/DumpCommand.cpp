#include "tools/melnar-dict/DumpCommand.h"

#include "tools/melnar-dict/DictionaryOptions.h"

#include "Engine/core/data-store/Dictionary.h"

#include <utility>

namespace {

constexpr const char* HELP = R"(usage: melnar-dict dump [OPTION...] DICTIONARY

Prints "ID<tab>literal" for every resource in ascending order of the IDs, the
literal in Turtle syntax.

  --memory-limit SIZE  bytes the dictionary may use, such as 512M or 16G
                       (default: the machine's memory)
  --help               print this text

Exit codes: 0 done, 2 wrong command line, 3 the dictionary cannot be read, a
limit was reached, or the output cannot be written.
)";

} // namespace

ExitCode runDump(std::vector<std::string> arguments, StandardOutput& output, std::ostream&) {
    const DictionaryOptions options = DictionaryOptions::parse({"dump"}, std::move(arguments));
    if (options.m_asksForHelp) {
        output.write(HELP);
        output.flush();
        return ExitCode::DONE;
    }
    const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
    std::string line;
    dictionary->forEachResource([&](const uint64_t resourceID, const ResourceValue&) {
        line = std::to_string(resourceID) + '\t';
        dictionary->appendTurtleLiteral(resourceID, line);
        line += '\n';
        output.write(line);
    });
    output.flush();
    return ExitCode::DONE;
}

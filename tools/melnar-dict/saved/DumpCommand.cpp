#include "tools/melnar-dict/saved/DumpCommand.h"

#include "tools/melnar-dict/saved/DictionaryArguments.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

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

// Enough for the dictionary to work at full speed.
constexpr uint64_t RESOURCES_OF_A_GROUP = 1024;

void appendLines(const Dictionary& dictionary, const std::vector<BatchEntry>& entries, std::string& lines) {
    for (const BatchEntry& entry : entries)
        if (entry.m_datatypeID != D_INVALID) {
            lines.append(std::to_string(entry.m_resourceID)).append(1, '\t');
            dictionary.appendTurtleLiteral(entry.m_lexicalForm, entry.m_datatypeID, lines);
            lines += '\n';
        }
}

} // namespace

ExitCode runDump(std::vector<std::string> arguments, StandardOutput& output, std::ostream&) {
    const DictionaryArguments options = DictionaryArguments::parse({"dump"}, std::move(arguments));
    if (options.m_asksForHelp) {
        output.write(HELP);
        output.flush();
        return ExitCode::DONE;
    }
    const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
    const uint64_t endResourceID = dictionary->getNextResourceID();
    std::vector<BatchEntry> entries;
    std::string lines;
    for (uint64_t begin = 1; begin < endResourceID; begin += RESOURCES_OF_A_GROUP) {
        entries.resize(std::min(RESOURCES_OF_A_GROUP, endResourceID - begin));
        for (size_t index = 0; index < entries.size(); ++index)
            entries[index].m_resourceID = begin + index;
        dictionary->getResources(entries);
        lines.clear();
        appendLines(*dictionary, entries, lines);
        output.write(lines);
    }
    output.flush();
    return ExitCode::DONE;
}

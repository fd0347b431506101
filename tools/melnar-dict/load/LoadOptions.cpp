#include "tools/melnar-dict/load/LoadOptions.h"

#include "tools/melnar-dict/shell/ArgumentReader.h"
#include "tools/melnar-dict/shell/PhysicalMemory.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <thread>

namespace {

constexpr uint64_t MAXIMUM_NUMBER_OF_THREADS = 1024;

constexpr const char* HELP = R"(usage: melnar-dict load [OPTION...] FILE...

Reads RDF files, gives every distinct string literal in them a resource ID, and
prints how much of what there was.

A FILE is N-Triples (.nt), N-Quads (.nq), Turtle (.ttl) or TriG (.trig), plain
or packed with gzip (.gz behind that); "-" is standard input. Several are loaded
into one dictionary, one after the other.

  -o, --output DICTIONARY
                       save the dictionary to this file
  --into DICTIONARY    add to this saved dictionary, whose IDs stay, and save it
                       again, or to the file given with -o
  --wait               if another process is writing the dictionary, wait
                       until it has finished, and read it only then
  --force              replace a file that is not a dictionary, and do not
                       estimate whether the disk has room
  --format FORMAT      ntriples, nquads, turtle or trig, whatever the names say
  --threads N          use N threads (default: one for each core)
  --lenient            report errors, count them and go on behind them
  --base IRI           what relative IRIs are relative to
  --memory-limit SIZE  bytes the dictionary may use, such as 512M or 16G
                       (default: the machine's memory)
  --max-line SIZE      bytes of the longest line of N-Triples and N-Quads, and of
                       the longest statement of Turtle and TriG (default: 1G)
  --max-resources N    distinct literals it may hold (default: 4294967293);
                       a saved dictionary keeps its own
  --json               print JSON instead of a table
  --query TEXT         afterwards print the ID of the string TEXT
  --query TEXT@TAG     the same for a text with a language tag
  --get ID             afterwards print the literal with this ID
  --help               print this text

--query and --get may be repeated; each prints "ID<tab>literal" or
"not found<tab>what was asked for".

The table counts statements as triples, quads too. String literals are objects:
those without datatype and tag or with datatype xsd:string, and those with a tag
or with datatype rdf:PlainLiteral. Other terms are all other subjects,
predicates, objects and graph names, each time they occur. Bytes of text are
those of the distinct literals.

Exit codes: 0 done, 1 bad data or something not found, 2 wrong command line or
an output that would destroy something, 3 input or output failed, another
process is writing the dictionary, or a limit was reached. A dictionary is saved
when all files have been loaded, and atomically: until then the old file stays.
)";

RdfFormat parseFormat(const std::string& name) {
    const std::optional<RdfFormat> format = formatOfName(name);
    if (!format)
        throw ToolFailure(ExitCode::USAGE,
                          "option --format needs ntriples, nquads, turtle or trig, not '" + name + "'");
    return *format;
}

RdfFormat deduceFormat(const std::string& fileName) {
    const std::optional<RdfFormat> format = formatOfFile(fileName);
    if (!format)
        throw ToolFailure(ExitCode::USAGE, fileName == "-"
                                               ? "standard input needs --format"
                                               : "the name '" + fileName + "' tells no format; give it with --format");
    return *format;
}

} // namespace

const char* LoadOptions::getHelp() noexcept {
    return HELP;
}

LoadOptions LoadOptions::parse(std::vector<std::string> arguments) {
    LoadOptions options;
    options.m_numberOfThreads = std::max(1u, std::thread::hardware_concurrency());
    options.m_memoryLimit = getPhysicalMemory();
    std::optional<RdfFormat> format;
    std::optional<uint64_t> maximumNumberOfResources;
    std::vector<std::string> fileNames;
    ArgumentReader reader(std::move(arguments));
    while (reader.next()) {
        const std::string& argument = reader.getArgument();
        if (!reader.isOption())
            fileNames.push_back(argument);
        else if (argument == "--format")
            format = parseFormat(reader.takeValue());
        else if (argument == "--threads")
            options.m_numberOfThreads = reader.takeNumber(1, MAXIMUM_NUMBER_OF_THREADS);
        else if (argument == "--lenient")
            options.m_isLenient = true;
        else if (argument == "--base")
            options.m_base = reader.takeValue();
        else if (argument == "--memory-limit")
            options.m_memoryLimit = reader.takeNumberOfBytes();
        else if (argument == "--max-line")
            options.m_maximumLine = reader.takeNumberOfBytes();
        else if (argument == "--max-resources")
            maximumNumberOfResources = reader.takeNumber(1, Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES);
        else if (argument == "-o" || argument == "--output")
            options.m_outputName = reader.takeValue();
        else if (argument == "--into")
            options.m_intoName = reader.takeValue();
        else if (argument == "--wait")
            options.m_waits = true;
        else if (argument == "--force")
            options.m_isForced = true;
        else if (argument == "--json")
            options.m_asksForJson = true;
        else if (argument == "--query")
            options.m_lookups.push_back(Lookup::ofLiteral(reader.takeValue()));
        else if (argument == "--get")
            options.m_lookups.push_back(
                Lookup::ofResourceID(reader.takeNumber(0, std::numeric_limits<uint64_t>::max())));
        else if (argument == "--help")
            options.m_asksForHelp = true;
        else
            reader.refuse();
    }
    if (options.m_asksForHelp)
        return options;
    if (fileNames.empty())
        throw ToolFailure(ExitCode::USAGE, "load needs a file");
    if (!options.m_intoName.empty() && maximumNumberOfResources)
        throw ToolFailure(ExitCode::USAGE, "--max-resources is for a new dictionary, not one given with --into");
    options.m_maximumNumberOfResources =
        maximumNumberOfResources.value_or(Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS);
    if (options.m_outputName.empty())
        options.m_outputName = options.m_intoName;
    if (std::count(fileNames.begin(), fileNames.end(), "-") > 1)
        throw ToolFailure(ExitCode::USAGE, "standard input can be loaded only once");
    for (const std::string& fileName : fileNames)
        options.m_files.emplace_back(fileName, format ? *format : deduceFormat(fileName));
    return options;
}

#include "tools/melnar-dict/load/LoadOptions.h"

#include "tools/melnar-dict/saved/FolderDictionary.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include <filesystem>
#include <limits>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

constexpr const char* TEXT = R"(
Reads RDF files, gives every distinct term in them a resource ID, and prints counts of statements and terms. Terms are
equal if they are written alike after escapes are replaced: "01" and "1" are two different integers.

A FILE is N-Triples (.nt), N-Quads (.nq), Turtle (.ttl) or TriG (.trig), plain or compressed (then .gz, .bz2, .xz or .zst
follows the extension), or a folder with such files; "-" is standard input. Several files are loaded into one dictionary,
one after the other.

--ids also writes a row of IDs for every statement, in the order of the input: subject, predicate, object, and graph
if there are graphs; 0 is the default graph. ROWS is a NumPy file (numpy.load). It appears together with the
dictionary, and contains the dictionary's identity. With "-", the rows go to standard output without a header.

With --order input, terms get IDs from 1 in the order in which they first appear: statement by statement, and within a
statement subject, predicate, object, graph. So IDs and files are the same with any number of threads.

--query and --get may be repeated; each prints "ID<tab>term", or "not found<tab>" and its argument.

The table counts all statements as triples, also quads. String literals are objects: those without datatype and tag or
with datatype xsd:string, and those with a tag or with datatype rdf:PlainLiteral. Other terms are all other subjects,
predicates, objects and graph names, each time they occur. Bytes of text are those of the distinct string literals.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 bad data or something not found, 2 wrong command line or an output that would destroy something, 3 input or
output failed, another process is writing the dictionary, or a limit was reached. A dictionary is saved when all files
have been loaded. It replaces the old file atomically.
)";

/// Rows without their dictionary are meaningless numbers; for rows on standard output, the user is responsible.
void checkIds(const LoadOptions& options) {
    if (options.m_idsName.empty())
        return;
    if (options.m_idsName != STANDARD_STREAM) {
        if (options.m_output.m_outputName.empty())
            throw ToolFailure(ExitCode::USAGE, "--ids needs -o or --into, to save the dictionary of the IDs");
    } else if (options.m_asksForJson || !options.m_lookups.empty())
        throw ToolFailure(ExitCode::USAGE,
                          "--ids - excludes --json, --query and --get, which also print to standard output");
}

/// With --into, the dictionary determines whether it is a folder.
void checkShards(LoadOptions& options) {
    std::error_code error;
    if (!options.m_intoName.empty() && std::filesystem::is_directory(options.m_intoName, error)) {
        FolderDictionary::requireFolder(options.m_intoName);
        options.m_makesShards = true;
    }
    if (!options.m_makesShards) {
        if (options.m_checkpoint.m_isGiven)
            throw ToolFailure(ExitCode::USAGE, "--checkpoint is for a dictionary of shards");
        return;
    }
    if (options.m_output.m_outputName.empty())
        throw ToolFailure(ExitCode::USAGE, "--shards needs -o, the folder of the dictionary");
    if (!options.m_intoName.empty() && !ShardedDictionary::isFolder(options.m_intoName))
        throw ToolFailure(ExitCode::USAGE,
                          "--shards cannot add to '" + options.m_intoName + "', which is a dictionary without shards");
    if (options.m_loadsOnlyStrings)
        throw ToolFailure(ExitCode::USAGE, "--strings-only is for a dictionary without shards");
    if (options.m_order == TermResolver::Order::ANY)
        throw ToolFailure(ExitCode::USAGE, "the IDs of shards follow the order of the input: --order any is for a "
                                           "dictionary without shards");
    if (options.m_maximumNumberOfResources)
        throw ToolFailure(ExitCode::USAGE, "--max-resources is for a dictionary without shards");
}

} // namespace

void addReading(VerbDescription& verb, LoadOptions& options) {
    addLenient(verb, options.m_isLenient);
    verb.addNumber("--errors", "N", "show the first N errors and count the rest (default: 20)",
                   options.m_numberOfErrorsShown, 0, std::numeric_limits<uint64_t>::max());
    verb.addText("--rejected", "FILE",
                 "with --lenient, write the bytes that are skipped because of errors to this file",
                 options.m_rejectedName);
    addFeedback(verb, options.m_feedback);
    addBase(verb, options.m_base);
    addVersion(verb, options.m_version);
    addMemoryLimit(verb, options.m_memoryLimit);
    addMaximumLine(verb, options.m_maximumLine);
    verb.m_checks.emplace_back([&options] {
        if (!options.m_rejectedName.empty() && !options.m_isLenient)
            throw ToolFailure(ExitCode::USAGE, "--rejected needs --lenient; nothing is skipped without it");
        if (options.m_idsName.empty() && options.m_rows.isGiven())
            throw ToolFailure(ExitCode::USAGE, "--id-width and --quads need --ids");
        if (options.m_output.m_outputName.empty())
            options.m_output.m_outputName = options.m_intoName;
    });
}

VerbDescription describeLoad(LoadOptions& options) {
    VerbDescription verb{
        "load",
        "read RDF files and give their terms resource IDs",
        TEXT,
        EXIT_CODES,
        {{"load dump.nt.gz -o dump.dict --ids dump.npy",
          "Gives every term of a dump an ID, and saves the dictionary and the statements as rows of IDs."},
         {"load more.ttl --into dump.dict --query '\"Berlin\"@de'",
          "Adds the terms of another file, and prints the ID of one."}}};
    addOutput(verb, OutputKind::FILE_ONLY, "DICTIONARY", "save the dictionary to this file",
              "replace a file that is not a dictionary, and do not check whether the disk has enough space",
              options.m_output);
    verb.addFile("--into", "DICTIONARY",
                 "add to this saved dictionary, whose IDs stay the same; save it again, or to the file given with -o",
                 options.m_intoName);
    verb.addText("--ids", "ROWS", "write the statements as rows of IDs to this file; an existing file is replaced",
                 options.m_idsName);
    verb.m_options.back().m_isFile = true;
    addRowOptions(verb, options.m_rows);
    verb.addChoice("--order", "ORDER",
                   "give IDs in the order of the \"input\" (the default with --ids), or in \"any\" order, which may be "
                   "faster (the default without)",
                   options.m_order,
                   std::vector<std::pair<std::string, TermResolver::Order>>{{"input", TermResolver::Order::INPUT},
                                                                            {"any", TermResolver::Order::ANY}});
    verb.addFlag(
        "--shards",
        "make DICTIONARY a folder of shards, which may be larger than memory: terms that do not fit are spilled to it",
        options.m_makesShards);
    addCheckpoint(verb, "with --shards, ", options.m_checkpoint);
    verb.addFlag("--strings-only", "give IDs to string literals only", options.m_loadsOnlyStrings);
    addInputFiles(verb, InputFormats::ALL, options.m_files);
    addBlankNodes(verb, options.m_files, options.m_blankNodes);
    addThreads(verb, options.m_numberOfThreads);
    addReading(verb, options);
    verb.addNumber("--max-resources", "N",
                   "maximum number of distinct terms (default: 4294967293); a saved dictionary keeps its own maximum",
                   options.m_maximumNumberOfResources, 1, Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES);
    addJson(verb, JsonLayout::DOCUMENT, options.m_asksForJson);
    verb.addOption("--query", "TERM", "after loading, print the ID of a term, given as for lookup",
                   [&options](const std::string& value) { options.m_lookups.push_back(Lookup::ofTerm(value)); });
    verb.addOption("--get", "ID", "after loading, print the term with this ID", [&options](const std::string& value) {
        options.m_lookups.push_back(Lookup::ofResourceID(
            VerbDescription::requireNumber("--get", value, 0, std::numeric_limits<uint64_t>::max())));
    });
    verb.m_checks.emplace_back([&options] {
        if (!options.m_intoName.empty() && options.m_maximumNumberOfResources)
            throw ToolFailure(ExitCode::USAGE, "--max-resources is for a new dictionary, not one given with --into");
        if (options.m_loadsOnlyStrings && (!options.m_idsName.empty() || options.m_order))
            throw ToolFailure(ExitCode::USAGE, "--strings-only excludes --ids and --order");
        checkIds(options);
        checkShards(options);
    });
    return verb;
}

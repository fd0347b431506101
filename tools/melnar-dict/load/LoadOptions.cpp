#include "tools/melnar-dict/load/LoadOptions.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"

#include <limits>

namespace {

constexpr const char* TEXT = R"(
Reads RDF files, gives every distinct string literal in them a resource ID, and prints how much of what there was.

A FILE is N-Triples (.nt), N-Quads (.nq), Turtle (.ttl) or TriG (.trig), plain or packed (.gz, .bz2, .xz or .zst behind
that), or a folder with such files; "-" is standard input. Several are loaded into one dictionary, one after the other.

--query and --get may be repeated; each prints "ID<tab>literal" or "not found<tab>what was asked for".

The table counts statements as triples, quads too. String literals are objects: those without datatype and tag or with
datatype xsd:string, and those with a tag or with datatype rdf:PlainLiteral. Other terms are all other subjects,
predicates, objects and graph names, each time they occur. Bytes of text are those of the distinct literals.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 bad data or something not found, 2 wrong command line or an output that would destroy something, 3 input or
output failed, another process is writing the dictionary, or a limit was reached. A dictionary is saved when all files
have been loaded, and atomically: until then the old file stays.
)";

} // namespace

VerbDescription describeLoad(LoadOptions& options) {
    VerbDescription verb{
        "load",
        "read RDF files and give their string literals resource IDs",
        TEXT,
        EXIT_CODES,
        {{"load dump.nt.gz -o dump.dict", "Gives every literal of a dump an ID and saves the dictionary."},
         {"load more.ttl --into dump.dict --query '\"Berlin\"@de'",
          "Adds the literals of another file, and prints the ID of one."}}};
    addOutput(verb, OutputKind::FILE_ONLY, "DICTIONARY", "save the dictionary to this file",
              "replace a file that is not a dictionary, and do not estimate whether the disk has room",
              options.m_output);
    verb.addFile("--into", "DICTIONARY",
                 "add to this saved dictionary, whose IDs stay, and save it again, or to the file given with -o",
                 options.m_intoName);
    addInputFiles(verb, InputFormats::ALL, options.m_files);
    addThreads(verb, options.m_numberOfThreads);
    addLenient(verb, options.m_isLenient);
    verb.addNumber("--errors", "N", "show the first N errors and count the rest (default: 20)",
                   options.m_numberOfErrorsShown, 0, std::numeric_limits<uint64_t>::max());
    verb.addText("--rejected", "FILE",
                 "with --lenient, write what is skipped because of errors to this file, byte for byte",
                 options.m_rejectedName);
    addFeedback(verb, options.m_feedback);
    addBase(verb, options.m_base);
    addVersion(verb, options.m_version);
    addMemoryLimit(verb, options.m_memoryLimit);
    addMaximumLine(verb, options.m_maximumLine);
    verb.addNumber("--max-resources", "N",
                   "distinct literals it may hold (default: 4294967293); a saved dictionary keeps its own",
                   options.m_maximumNumberOfResources, 1, Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES);
    addJson(verb, JsonLayout::DOCUMENT, options.m_asksForJson);
    verb.addOption("--query", "LITERAL", "afterwards print the ID of a literal, given in Turtle syntax with its quotes",
                   [&options](const std::string& value) { options.m_lookups.push_back(Lookup::ofLiteral(value)); });
    verb.addOption("--get", "ID", "afterwards print the literal with this ID", [&options](const std::string& value) {
        options.m_lookups.push_back(Lookup::ofResourceID(
            VerbDescription::requireNumber("--get", value, 0, std::numeric_limits<uint64_t>::max())));
    });
    verb.m_checks.emplace_back([&options] {
        if (!options.m_intoName.empty() && options.m_maximumNumberOfResources)
            throw ToolFailure(ExitCode::USAGE, "--max-resources is for a new dictionary, not one given with --into");
        if (!options.m_rejectedName.empty() && !options.m_isLenient)
            throw ToolFailure(ExitCode::USAGE, "--rejected needs --lenient, as without it nothing is skipped");
        if (options.m_output.m_outputName.empty())
            options.m_output.m_outputName = options.m_intoName;
    });
    return verb;
}

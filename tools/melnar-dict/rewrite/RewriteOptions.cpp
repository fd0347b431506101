#include "tools/melnar-dict/rewrite/RewriteOptions.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <utility>
#include <vector>

namespace {

constexpr const char* ENCODE_TEXT = R"(
Writes a row of IDs for each statement of RDF files, plain or compressed, or of folders with such files: the IDs of
subject, predicate and object, and in files of quads that of the graph, or 0. decode does the reverse. OUT is a NumPy
array (.npy) that contains the dictionary's identity; it appears only when it is complete. "-" is standard input or output,
where rows have no header. A term that the dictionary does not have is bad data.

With --as iri, N-Triples and N-Quads are written as such, in canonical form, with an IRI such as <melnar:17> instead of
every string literal; 17 is its resource ID. The first line is then a comment with the dictionary's identity.
)";

constexpr const char* DECODE_TEXT = R"(
Writes the statements of files that encode or load has written, in canonical form, with language tags as the dictionary
has them. OUT appears only when it is complete; "-" is standard input or output. A file that was encoded with
another dictionary is bad data, unless DICTIONARY has grown from that one by load --into.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 bad data or something not found, 2 wrong command line or an OUT that would destroy something, 3 input or
output failed, another process is writing OUT, or a limit was reached. Without 0, no OUT is written.
)";

/// Refuses options for rows only.
void checkIris(const RewriteOptions& options) {
    if (options.m_form == EncodedForm::IRIS &&
        (options.m_rows.isGiven() || options.m_blankNodes.m_firstDocument != 1 ||
         options.m_blankNodes.m_mode != BlankNodeScope::Mode::DOCUMENTS || !options.m_base.empty()))
        throw ToolFailure(ExitCode::USAGE,
                          "--quads, --id-width, --blank-nodes, --document and --base are for --as npy");
}

/// Refuses options for statements only.
void checkRows(const RewriteOptions& options) {
    if (options.m_form == EncodedForm::ROWS &&
        (options.m_version != Rdf::Version::RDF_1_2 || options.m_maximumLine != DEFAULT_MAXIMUM_LINE))
        throw ToolFailure(ExitCode::USAGE, "--rdf and --max-line are for --as iri");
}

VerbDescription addOptions(VerbDescription verb, RewriteOptions& options) {
    verb.addFile("-d,--dictionary", "DICTIONARY", "the dictionary with the terms", options.m_dictionaryName);
    addOutput(verb, OutputKind::FILE_OR_STANDARD_OUTPUT, "OUT",
              "the file to write; an existing file is replaced, unless it is an input or a dictionary",
              "replace OUT even if it is a dictionary, unless it is DICTIONARY", options.m_output);
    verb.addChoice(
        "--as", "FORM", "npy: rows of IDs in NumPy's format (default); iri: statements with IRIs instead of literals",
        options.m_form,
        std::vector<std::pair<std::string, EncodedForm>>{{"npy", EncodedForm::ROWS}, {"iri", EncodedForm::IRIS}});
    addThreads(verb, options.m_numberOfThreads);
    addMemoryLimit(verb, options.m_memoryLimit);
    addMaximumLine(verb, options.m_maximumLine);
    addVersion(verb, options.m_version);
    addFeedback(verb, options.m_feedback);
    verb.requireOption("--dictionary");
    verb.requireOption("--output");
    return verb;
}

} // namespace

VerbDescription describeEncode(RewriteOptions& options) {
    VerbDescription verb = addOptions(
        {"encode",
         "write statements as rows of resource IDs",
         ENCODE_TEXT,
         EXIT_CODES,
         {{"encode dump.nt.gz -d dump.dict -o dump.npy", "Writes a row of three IDs for each statement."},
          {"encode dump.nt.gz --as iri -d dump.dict -o encoded.nt", "Writes the statements with IDs for literals."}}},
        options);
    addInputFiles(verb, InputFormats::ALL, options.m_files,
                  [&options] { return options.m_form == EncodedForm::IRIS ? InputFormats::LINES : InputFormats::ALL; });
    addRowOptions(verb, options.m_rows);
    addBlankNodes(verb, options.m_files, options.m_blankNodes);
    addDocument(verb, options.m_blankNodes);
    addBase(verb, options.m_base);
    verb.m_checks.emplace_back([&options] { checkIris(options); });
    return verb;
}

VerbDescription describeDecode(RewriteOptions& options) {
    VerbDescription verb = addOptions({"decode",
                                       "write the statements that rows of resource IDs stand for",
                                       DECODE_TEXT,
                                       EXIT_CODES,
                                       {{"decode dump.npy -d dump.dict -o - | gzip > dump.nt.gz",
                                         "Writes the statements of the rows, and compresses them."}}},
                                      options);
    addInputFiles(verb, InputFormats::LINES, options.m_files, [&options] {
        return options.m_form == EncodedForm::IRIS ? InputFormats::LINES : InputFormats::NONE;
    });
    verb.m_checks.emplace_back([&options] { checkRows(options); });
    return verb;
}

#include "tools/melnar-dict/rewrite/CanonicalCommand.h"

#include "tools/melnar-dict/rewrite/CanonicalLines.h"
#include "tools/melnar-dict/rewrite/RewriteOutput.h"
#include "tools/melnar-dict/rewrite/StatementProgress.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr const char* TEXT = R"(
Writes the statements of RDF files of any syntax in the canonical form of N-Triples and N-Quads that RDF 1.2 defines, one
per line, in their order; duplicate statements are written as often as they occur. OUT appears only when it is
complete; "-" is standard input or output.

Statements in named graphs are written as N-Quads, all others as N-Triples; if OUT ends in .nt or .ttl, a named graph is an
error. Nodes without a label get one. A label is local to its file: if there are several files, labels in the N-th file
begin with docN- from the second file on, unless --blank-nodes shared makes one label one node.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 bad data, 2 wrong command line or an OUT that would destroy something, 3 input or output failed, another
process is writing OUT, or a limit was reached. Without 0, no OUT is written.
)";

/// Returns the exit code of the first error, or DONE.
ExitCode rewriteFiles(const CanonicalOptions& options, OutputStream& output, MessageOutput& messages) {
    InputJournal journal({}, messages);
    StatementProgress progress(messages, options.m_feedback.getProgressMode(options.m_output), "rewriting",
                               getTotalBytes(options.m_files), journal);
    FilePass::Settings reading = options.m_reading;
    reading.m_bytesRead = &progress.getBytesRead();
    FilePass pass(journal, reading);
    OrderedOutput lines(output);
    const std::optional<RdfFormat> outputFormat = formatOfFile(options.m_output.m_outputName);
    CanonicalLines::Settings settings;
    settings.m_hasGraphs = !outputFormat || hasGraphs(*outputFormat);
    const bool areLabelsKept =
        options.m_files.size() == 1 || options.m_blankNodes.m_mode == BlankNodeScope::Mode::SHARED;
    for (size_t index = 0; index < options.m_files.size() && !journal.isStopped(); ++index) {
        const auto& [fileName, format] = options.m_files[index];
        settings.m_document = areLabelsKept ? BlankNodeScope::NO_DOCUMENT : options.m_blankNodes.getDocument(index);
        lines.startOver();
        pass.read(fileName, format, [&] { return std::make_unique<CanonicalLines>(lines, settings); });
    }
    return journal.getExitCode();
}

} // namespace

VerbDescription describeCanonical(CanonicalOptions& options) {
    VerbDescription verb{
        "canonical",
        "write statements in canonical form",
        TEXT,
        EXIT_CODES,
        {{"canonical dump.ttl -o dump.nt", "Writes a Turtle file as canonical N-Triples."},
         {"canonical a.nq.gz -o - | LC_ALL=C sort -u", "Prints the distinct statements in a fixed order."}}};
    addOutput(verb, OutputKind::FILE_OR_STANDARD_OUTPUT, "OUT",
              "the file to write; an existing file is replaced, unless it is an input or a dictionary",
              "replace OUT even if it is a dictionary", options.m_output);
    addInputFiles(verb, InputFormats::ALL, options.m_files);
    addBlankNodes(verb, options.m_files, options.m_blankNodes);
    addThreads(verb, options.m_reading.m_numberOfThreads);
    addBase(verb, options.m_reading.m_base);
    addMaximumLine(verb, options.m_reading.m_maximumLine);
    addVersion(verb, options.m_reading.m_version);
    addFeedback(verb, options.m_feedback);
    verb.requireOption("--output");
    return verb;
}

ExitCode runCanonical(const CanonicalOptions& options, StandardOutput& standardOutput, std::ostream& errorOutput) {
    std::vector<std::string> inputNames;
    for (const auto& [fileName, format] : options.m_files)
        inputNames.push_back(fileName);
    RewriteOutput output(options.m_output, inputNames, standardOutput, options.m_feedback.getNoteOutput(errorOutput));
    MessageOutput messages(errorOutput);
    return output.finish(rewriteFiles(options, output.open(), messages));
}

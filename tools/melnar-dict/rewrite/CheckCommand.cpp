#include "tools/melnar-dict/rewrite/CheckCommand.h"

#include "tools/melnar-dict/rewrite/StatementProgress.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

namespace {

constexpr const char* TEXT = R"(
Reads RDF files and reports syntax errors on standard error: the first one or, with --lenient, all. Prints the numbers of
files, statements and errors.
)";

constexpr const char* EXIT_CODES = R"(
0 no errors, 1 errors, 2 wrong command line, 3 input or output failed, or a limit was reached.
)";

/// Only counts.
class StatementCounter final : public StatementConsumer {
public:
    const char* take(const Rdf::Statement&, uint64_t, ParsedPiece& piece) override {
        ++piece.m_counts.m_statements;
        return nullptr;
    }
    void endBlock(ParsedPiece&) override {}
};

/// Reads all files, unless the journal stops.
void checkFiles(const CheckOptions& options, InputJournal& journal, MessageOutput& messages) {
    StatementProgress progress(messages, options.m_feedback.getProgressMode(), "checking",
                               getTotalBytes(options.m_files), journal);
    FilePass::Settings reading = options.m_reading;
    reading.m_bytesRead = &progress.getBytesRead();
    FilePass pass(journal, reading);
    for (const auto& [fileName, format] : options.m_files) {
        pass.read(fileName, format, [] { return std::make_unique<StatementCounter>(); });
        if (journal.isStopped())
            return;
    }
}

} // namespace

VerbDescription describeCheck(CheckOptions& options) {
    VerbDescription verb{"check",
                         "check the syntax of RDF files",
                         TEXT,
                         EXIT_CODES,
                         {{"check --lenient dump.ttl", "Reports all errors of a file."}}};
    addInputFiles(verb, InputFormats::ALL, options.m_files);
    addThreads(verb, options.m_reading.m_numberOfThreads);
    addLenient(verb, options.m_reading.m_isLenient);
    addBase(verb, options.m_reading.m_base);
    addMaximumLine(verb, options.m_reading.m_maximumLine);
    addVersion(verb, options.m_reading.m_version);
    addFeedback(verb, options.m_feedback);
    addJson(verb, JsonLayout::DOCUMENT, options.m_asksForJson);
    return verb;
}

ExitCode runCheck(const CheckOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    MessageOutput messages(errorOutput);
    InputJournal journal(
        {options.m_reading.m_isLenient, std::numeric_limits<uint64_t>::max(), options.m_feedback.m_isQuiet}, messages);
    checkFiles(options, journal, messages);
    if (journal.isStopped()) {
        if (options.m_asksForJson)
            printError(journal.getLastError(), journal.getExitCode(), JsonLayout::DOCUMENT, output);
        return journal.getExitCode();
    }
    const size_t files = options.m_files.size();
    const uint64_t statements = journal.getCounts().m_statements;
    const uint64_t errors = journal.getNumberOfErrors();
    output.write(options.m_asksForJson ? toText(Json{{"files", files}, {"statements", statements}, {"errors", errors}},
                                                JsonLayout::DOCUMENT)
                                       : "files " + std::to_string(files) + ", statements " +
                                             std::to_string(statements) + ", errors " + std::to_string(errors) + "\n");
    output.flush();
    return errors == 0 ? ExitCode::DONE : ExitCode::BAD_DATA;
}

#include "tools/melnar-dict/rewrite/RewriteCommand.h"

#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/rewrite/RewriteOptions.h"
#include "tools/melnar-dict/rewrite/StatementDecoder.h"
#include "tools/melnar-dict/rewrite/StatementEncoder.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/threads/BlockWork.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/system/ThreadContextRegistration.h"

#include <memory>
#include <optional>
#include <utility>

namespace {

constexpr const char* ENCODE_HELP = R"(usage: melnar-dict encode [OPTION...] FILE... -d DICTIONARY -o OUT

Writes the statements of N-Triples (.nt) and N-Quads (.nq) files, plain or
packed with gzip, with an IRI such as <melnar:17> in the place of every string
literal, 17 being its resource ID. decode does the reverse. OUT appears when it
is complete; "-" is standard input or output. Statements are written in
canonical form: one space between terms, no needless escapes, no comments.

)";

constexpr const char* DECODE_HELP = R"(usage: melnar-dict decode [OPTION...] FILE... -d DICTIONARY -o OUT

Writes the statements of files that encode has written, with the literals in
their places again, in canonical form. OUT appears when it is complete; "-" is
standard input or output.

)";

constexpr const char* OPTIONS_HELP = R"(  -d, --dictionary DICTIONARY
                       the dictionary with the literals
  -o, --output OUT     the file to write; one that exists is replaced, unless it
                       is an input or a dictionary
  --wait               if another process is writing OUT, wait until it has
                       finished
  --force              replace OUT even if it is a dictionary, unless it is
                       DICTIONARY
  --format FORMAT      ntriples or nquads, whatever the names say
  --threads N          use N threads (default: one for each core)
  --memory-limit SIZE  bytes the dictionary may use, such as 512M or 16G
                       (default: the machine's memory)
  --max-line SIZE      bytes of the longest line (default: 1G)
  --help               print this text

Exit codes: 0 done, 1 bad data or something not found, 2 wrong command line or
an OUT that would destroy something, 3 input or output failed, another process
is writing OUT, or a limit was reached. Without 0, no OUT is written.
)";

/// Lets the tool's standard output be written to like a file.
class StandardOutputStream final : public OutputStream {
public:
    explicit StandardOutputStream(StandardOutput& output) : m_output(output) {}

    const std::string& getName() const override { return m_name; }
    void write(const void* const data, const size_t numberOfBytes) override {
        m_output.write({static_cast<const char*>(data), numberOfBytes});
    }
    void flush() override { m_output.flush(); }

private:
    const std::string m_name = "standard output";
    StandardOutput& m_output;
};

bool isStandardOutput(const RewriteOptions& options) {
    return options.m_outputName == "-";
}

/// Refuses an output that would destroy something.
void checkOutput(const RewriteOptions& options) {
    const OutputCheck check = isStandardOutput(options) ? OutputCheck::ofStandardOutput()
                                                        : OutputCheck(options.m_outputName, options.m_isForced);
    check.refuseInput(options.m_dictionaryName);
    for (const auto& [fileName, format] : options.m_files)
        check.refuseInput(fileName);
    check.refuseDictionary();
}

/// Returns the exit code of the first error, or DONE.
template<class Rewriter>
ExitCode rewriteFiles(const RewriteOptions& options, const Dictionary& dictionary, OutputStream& output,
                      std::ostream& errorOutput) {
    InputJournal journal(false, errorOutput);
    OrderedOutput orderedOutput(output);
    for (const auto& [fileName, format] : options.m_files) {
        journal.startFile(fileName);
        orderedOutput.startOver();
        std::optional<BlockReader> reader;
        try {
            reader.emplace(openInputFile(fileName), BlockReader::DEFAULT_BLOCK_SIZE, options.m_maximumLine);
        } catch (...) {
            reportCurrentException(journal, 0);
            return journal.getExitCode();
        }
        workOnBlocks(*reader, journal, options.m_numberOfThreads, [&, fileFormat = format]() -> BlockWorker {
            // Both belong to the thread that makes them.
            const auto registration = std::make_shared<ThreadContextRegistration>();
            const auto rewriter = std::make_shared<Rewriter>(fileFormat, options.m_maximumLine, dictionary);
            return [&orderedOutput, registration, rewriter](const Block& block, ParsedPiece& piece) {
                try {
                    rewriter->rewrite(block.getText(), piece);
                } catch (...) {
                    orderedOutput.write(block.m_sequence, {}); // The others wait for this turn.
                    throw;
                }
                orderedOutput.write(block.m_sequence, rewriter->getText());
            };
        });
        if (journal.isStopped())
            return journal.getExitCode();
    }
    return ExitCode::DONE;
}

template<class Rewriter>
ExitCode run(const std::string& verb, const char* const help, std::vector<std::string> arguments,
             StandardOutput& output, std::ostream& errorOutput) {
    const RewriteOptions options = RewriteOptions::parse(verb, std::move(arguments));
    if (options.m_asksForHelp) {
        output.write(help);
        output.write(OPTIONS_HELP);
        output.flush();
        return ExitCode::DONE;
    }
    checkOutput(options); // before a wait, which may be long
    if (isStandardOutput(options)) {
        const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
        StandardOutputStream stream(output);
        const ExitCode exitCode = rewriteFiles<Rewriter>(options, *dictionary, stream, errorOutput);
        output.flush();
        return exitCode;
    }
    OutputLock lock(options.m_outputName, options.m_waits, errorOutput);
    checkOutput(options); // The file may have come or changed since.
    const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
    OutputFile file(lock);
    const ExitCode exitCode = rewriteFiles<Rewriter>(options, *dictionary, file.getStream(), errorOutput);
    if (exitCode == ExitCode::DONE)
        file.commit();
    return exitCode;
}

} // namespace

ExitCode runEncode(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput) {
    return run<StatementEncoder>("encode", ENCODE_HELP, std::move(arguments), output, errorOutput);
}

ExitCode runDecode(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput) {
    return run<StatementDecoder>("decode", DECODE_HELP, std::move(arguments), output, errorOutput);
}

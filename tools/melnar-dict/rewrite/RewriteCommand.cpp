#include "tools/melnar-dict/rewrite/RewriteCommand.h"

#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/rewrite/StatementDecoder.h"
#include "tools/melnar-dict/rewrite/StatementEncoder.h"
#include "tools/melnar-dict/saved/OpenToRead.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/threads/BlockWork.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/system/ThreadContextRegistration.h"

#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

namespace {

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
    return options.m_output.m_outputName == "-";
}

/// Refuses an output that would destroy something.
void checkOutput(const RewriteOptions& options) {
    const OutputCheck check = isStandardOutput(options)
                                  ? OutputCheck::ofStandardOutput()
                                  : OutputCheck(options.m_output.m_outputName, options.m_output.m_isForced);
    check.refuseInput(options.m_dictionaryName);
    for (const auto& [fileName, format] : options.m_files)
        check.refuseInput(fileName);
    check.refuseDictionary();
}

/// Returns the exit code of the first error, or DONE.
template<class Rewriter>
ExitCode rewriteFiles(const RewriteOptions& options, const Dictionary& dictionary, OutputStream& output,
                      std::ostream& errorOutput) {
    const std::string beginning = Rewriter::getBeginning(dictionary);
    output.write(beginning.data(), beginning.size());
    InputJournal journal({}, errorOutput);
    OrderedOutput orderedOutput(output);
    for (const auto& [fileName, format] : options.m_files) {
        journal.startFile(fileName);
        orderedOutput.startOver();
        std::optional<BlockReader> reader;
        const std::stop_source reading;
        try {
            reader.emplace(openInputFile(fileName, options.m_numberOfThreads, reading), BlockReader::DEFAULT_BLOCK_SIZE,
                           options.m_maximumLine);
        } catch (...) {
            reportCurrentException(journal, 0);
            return journal.getExitCode();
        }
        workOnBlocks(*reader, reading, journal, options.m_numberOfThreads, [&, fileFormat = format]() -> BlockWorker {
            // Both belong to the thread that makes them.
            const auto registration = std::make_shared<ThreadContextRegistration>();
            const auto rewriter = std::make_shared<Rewriter>(fileFormat, options.m_maximumLine, dictionary);
            return [&orderedOutput, registration, rewriter](const Block& block, ParsedPiece& piece) {
                try {
                    rewriter->rewrite(block.getText().substr(block.m_lengthOfRest), piece);
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
ExitCode run(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    checkOutput(options); // before a wait, which may be long
    if (isStandardOutput(options)) {
        const auto dictionary = openToRead(options.m_dictionaryName, options.m_memoryLimit);
        StandardOutputStream stream(output);
        const ExitCode exitCode = rewriteFiles<Rewriter>(options, *dictionary, stream, errorOutput);
        output.flush();
        return exitCode;
    }
    OutputLock lock(options.m_output.m_outputName, options.m_output.m_waits, errorOutput);
    checkOutput(options); // The file may have come or changed since.
    const auto dictionary = openToRead(options.m_dictionaryName, options.m_memoryLimit);
    OutputFile file(lock);
    const ExitCode exitCode = rewriteFiles<Rewriter>(options, *dictionary, file.getStream(), errorOutput);
    if (exitCode == ExitCode::DONE)
        file.commit();
    return exitCode;
}

} // namespace

ExitCode runEncode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    return run<StatementEncoder>(options, output, errorOutput);
}

ExitCode runDecode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    return run<StatementDecoder>(options, output, errorOutput);
}

#include "tools/melnar-dict/rewrite/RewriteCommand.h"

#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/rewrite/RewriteOutput.h"
#include "tools/melnar-dict/rewrite/StatementDecoder.h"
#include "tools/melnar-dict/rewrite/StatementEncoder.h"
#include "tools/melnar-dict/saved/OpenToRead.h"
#include "tools/melnar-dict/threads/BlockWork.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/system/ThreadContextRegistration.h"

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace {

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
            const auto rewriter = std::make_shared<Rewriter>(
                makeReaderOptions(fileFormat, false, options.m_maximumLine, "", options.m_version), dictionary);
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
    const size_t dictionaryLimit = MemoryLimit::apply(options.m_memoryLimit, options.m_numberOfThreads);
    std::vector<std::string> inputNames{options.m_dictionaryName};
    for (const auto& [fileName, format] : options.m_files)
        inputNames.push_back(fileName);
    RewriteOutput file(options.m_output, inputNames, output, errorOutput);
    const auto dictionary = openToRead(options.m_dictionaryName, dictionaryLimit);
    return file.finish(rewriteFiles<Rewriter>(options, *dictionary, file.open(), errorOutput));
}

} // namespace

ExitCode runEncode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    return run<StatementEncoder>(options, output, errorOutput);
}

ExitCode runDecode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    return run<StatementDecoder>(options, output, errorOutput);
}

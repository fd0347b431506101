#include "tools/melnar-dict/rewrite/RewriteCommand.h"

#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/rewrite/RewriteOutput.h"
#include "tools/melnar-dict/rewrite/StatementDecoder.h"
#include "tools/melnar-dict/rewrite/StatementEncoder.h"
#include "tools/melnar-dict/rewrite/StatementProgress.h"
#include "tools/melnar-dict/saved/OpenDictionary.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/threads/FilePass.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

#include "Engine/core/data-store/Dictionary.h"

#include <memory>
#include <string>
#include <vector>

namespace {

std::unique_ptr<Dictionary> openDictionary(const RewriteOptions& options, const size_t dictionaryLimit,
                                           MessageOutput& messages) {
    const ProgressReporter progress(messages, options.m_feedback.getProgressMode(options.m_output),
                                    "opening '" + toPrintable(options.m_dictionaryName) + "'");
    return openToRead(options.m_dictionaryName, dictionaryLimit);
}

/// Returns the exit code of the first error, or DONE.
template<class Rewriter>
ExitCode rewriteFiles(const RewriteOptions& options, const Dictionary& dictionary, OutputStream& output,
                      MessageOutput& messages) {
    const std::string beginning = Rewriter::getBeginning(dictionary);
    output.write(beginning.data(), beginning.size());
    InputJournal journal({}, messages);
    StatementProgress progress(messages, options.m_feedback.getProgressMode(options.m_output), "rewriting",
                               options.m_files, journal);
    FilePass pass(journal, {.m_numberOfThreads = options.m_numberOfThreads,
                            .m_maximumLine = options.m_maximumLine,
                            .m_version = options.m_version,
                            .m_bytesRead = &progress.getBytesRead()});
    OrderedOutput orderedOutput(output);
    for (const auto& [fileName, format] : options.m_files) {
        orderedOutput.startOver();
        pass.read(fileName, format, [&] { return std::make_unique<Rewriter>(dictionary, orderedOutput); });
        if (journal.isStopped())
            break;
    }
    return journal.getExitCode();
}

template<class Rewriter>
ExitCode run(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const size_t dictionaryLimit = MemoryLimit::apply(options.m_memoryLimit, options.m_numberOfThreads);
    std::vector<std::string> inputNames{options.m_dictionaryName};
    for (const auto& [fileName, format] : options.m_files)
        inputNames.push_back(fileName);
    RewriteOutput file(options.m_output, inputNames, output, options.m_feedback.getNoteOutput(errorOutput));
    MessageOutput messages(errorOutput);
    const auto dictionary = openDictionary(options, dictionaryLimit, messages);
    return file.finish(rewriteFiles<Rewriter>(options, *dictionary, file.open(), messages));
}

} // namespace

ExitCode runEncode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    return run<StatementEncoder>(options, output, errorOutput);
}

ExitCode runDecode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    return run<StatementDecoder>(options, output, errorOutput);
}

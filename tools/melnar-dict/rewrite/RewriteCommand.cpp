#include "tools/melnar-dict/rewrite/RewriteCommand.h"

#include "tools/melnar-dict/rewrite/RewriteOutput.h"
#include "tools/melnar-dict/rewrite/RowEncoder.h"
#include "tools/melnar-dict/rewrite/RowPass.h"
#include "tools/melnar-dict/rewrite/StatementDecoder.h"
#include "tools/melnar-dict/rewrite/StatementEncoder.h"
#include "tools/melnar-dict/rewrite/StatementProgress.h"
#include "tools/melnar-dict/rows/NpyFile.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/threads/FilePass.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

std::unique_ptr<SavedDictionary> openDictionary(const RewriteOptions& options, const size_t dictionaryLimit,
                                                MessageOutput& messages) {
    const ProgressReporter progress(messages, options.m_feedback.getProgressMode(options.m_output),
                                    "opening '" + toPrintable(options.m_dictionaryName) + "'");
    return SavedDictionary::open(options.m_dictionaryName, dictionaryLimit);
}

/// Reads the files with a rewriter of their statements that `makeRewriter(fileIndex, output)` makes for each thread.
/// Returns the exit code of the first error, or DONE.
template<class MakeRewriter>
ExitCode rewriteFiles(const RewriteOptions& options, OutputStream& output, MessageOutput& messages,
                      const MakeRewriter& makeRewriter) {
    InputJournal journal({}, messages);
    StatementProgress progress(messages, options.m_feedback.getProgressMode(options.m_output), "rewriting",
                               getTotalBytes(options.m_files), journal);
    FilePass pass(journal, {.m_numberOfThreads = options.m_numberOfThreads,
                            .m_base = options.m_base,
                            .m_maximumLine = options.m_maximumLine,
                            .m_version = options.m_version,
                            .m_bytesRead = &progress.getBytesRead()});
    OrderedOutput orderedOutput(output);
    for (size_t index = 0; index < options.m_files.size() && !journal.isStopped(); ++index) {
        const auto& [fileName, format] = options.m_files[index];
        orderedOutput.startOver();
        pass.read(fileName, format, [&] { return makeRewriter(index, orderedOutput); });
    }
    return journal.getExitCode();
}

template<class Rewriter>
ExitCode rewriteIris(const RewriteOptions& options, const SavedDictionary& dictionary, RewriteOutput& file,
                     MessageOutput& messages) {
    OutputStream& output = file.open();
    const std::string beginning = Rewriter::getBeginning(dictionary);
    output.write(beginning.data(), beginning.size());
    return rewriteFiles(options, output, messages, [&](size_t, OrderedOutput& orderedOutput) {
        return std::make_unique<Rewriter>(dictionary, orderedOutput);
    });
}

ExitCode encodeRows(const RewriteOptions& options, const SavedDictionary& dictionary, RewriteOutput& file,
                    MessageOutput& messages) {
    const RowLayout layout{options.m_rows.getNumberOfColumns(options.m_files),
                           options.m_rows.getIDWidth(dictionary.getLargestResourceID())};
    OutputStream& output = file.open();
    std::optional<NpyFile> npyFile; // not for standard output, where the number of rows is known too late
    if (OutputFile* const outputFile = file.getFile()) {
        dictionary.requireWholeState();
        npyFile.emplace(*outputFile, layout);
    }
    const ExitCode exitCode =
        rewriteFiles(options, npyFile ? npyFile->getStream() : output, messages,
                     [&](const size_t fileIndex, OrderedOutput& orderedOutput) {
                         return std::make_unique<RowEncoder>(dictionary, orderedOutput, layout,
                                                             options.m_blankNodes.getDocument(fileIndex));
                     });
    if (npyFile && exitCode == ExitCode::DONE)
        npyFile->prepare(dictionary.getHistory());
    return exitCode;
}

ExitCode decodeRows(const RewriteOptions& options, const SavedDictionary& dictionary, RewriteOutput& file,
                    MessageOutput& messages) {
    InputJournal journal({}, messages);
    StatementProgress progress(messages, options.m_feedback.getProgressMode(options.m_output), "rewriting",
                               getTotalBytes(options.m_files), journal);
    OrderedOutput output(file.open());
    const std::optional<RdfFormat> outputFormat = formatOfFile(options.m_output.m_outputName);
    RowPass pass(dictionary, journal, output,
                 {.m_numberOfThreads = options.m_numberOfThreads,
                  .m_takesGraphs = !outputFormat || hasGraphs(*outputFormat),
                  .m_bytesRead = &progress.getBytesRead()});
    for (size_t index = 0; index < options.m_files.size() && !journal.isStopped(); ++index)
        pass.decode(options.m_files[index].first);
    return journal.getExitCode();
}

/// Returns the exit code of the first error, or DONE.
using Rewrite = ExitCode(const RewriteOptions& options, const SavedDictionary& dictionary, RewriteOutput& file,
                         MessageOutput& messages);

ExitCode run(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput, Rewrite* const rewrite) {
    const size_t dictionaryLimit = MemoryLimit::apply(options.m_memoryLimit, options.m_numberOfThreads,
                                                      rewrite == &encodeRows ? MemoryLimit::BYTES_OF_THREAD_WITH_TERMS
                                                                             : MemoryLimit::BYTES_OF_THREAD);
    std::vector<std::string> inputNames{options.m_dictionaryName};
    for (const auto& [fileName, format] : options.m_files)
        inputNames.push_back(fileName);
    RewriteOutput file(options.m_output, inputNames, output, options.m_feedback.getNoteOutput(errorOutput));
    MessageOutput messages(errorOutput);
    const auto dictionary = openDictionary(options, dictionaryLimit, messages);
    return file.finish(rewrite(options, *dictionary, file, messages));
}

} // namespace

ExitCode runEncode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    return run(options, output, errorOutput,
               options.m_form == EncodedForm::ROWS ? &encodeRows : &rewriteIris<StatementEncoder>);
}

ExitCode runDecode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    return run(options, output, errorOutput,
               options.m_form == EncodedForm::ROWS ? &decodeRows : &rewriteIris<StatementDecoder>);
}

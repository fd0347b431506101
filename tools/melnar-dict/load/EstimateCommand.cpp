#include "tools/melnar-dict/load/EstimateCommand.h"

#include "tools/melnar-dict/load/LoadEstimator.h"
#include "tools/melnar-dict/shell/MemoryLimit.h"
#include "tools/melnar-dict/shell/ToolFailure.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

namespace {

constexpr const char* TEXT = R"(
Reads samples of RDF files and estimates what load would need: the memory of the dictionary, the sizes of its file and
of the rows that --ids would write, with 4 bytes per ID, and the time to load everything, without saving. It reads about
64 MiB, spread evenly over the files; smaller input is read completely. Compressed files are decompressed, but at most
1 GiB of each. Of standard input and pipes, only the beginning is read. Faulty statements are not counted.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 2 wrong command line, 3 a file cannot be read or a limit was reached.
)";

LoadEstimate makeEstimate(const EstimateOptions& options, const size_t dictionaryLimit, MessageOutput& messages) {
    LoadEstimator estimator({.m_numberOfThreads = options.m_numberOfThreads,
                             .m_memoryLimit = dictionaryLimit,
                             .m_loadsOnlyStrings = options.m_loadsOnlyStrings,
                             .m_makesShards = options.m_makesShards,
                             .m_blankNodes = options.m_blankNodes});
    // How many bytes will be read is not known.
    const ProgressReporter progress(messages, options.m_feedback.getProgressMode(), [&]() -> ProgressFigures {
        return {.m_work = "estimating", .m_bytes = estimator.getBytesRead()};
    });
    return estimator.estimate(options.m_files);
}

} // namespace

VerbDescription describeEstimate(EstimateOptions& options) {
    VerbDescription verb{"estimate",
                         "estimate memory, file sizes and time of a load",
                         TEXT,
                         EXIT_CODES,
                         {{"estimate dump.nt.gz", "Says what a load of the file would need."}}};
    verb.addFlag("--strings-only", "estimate a load of string literals alone", options.m_loadsOnlyStrings);
    verb.addFlag("--shards", "estimate a load with --shards, and how much room it needs on the disk until it is done",
                 options.m_makesShards);
    verb.m_checks.emplace_back([&options] {
        if (options.m_makesShards && options.m_loadsOnlyStrings)
            throw ToolFailure(ExitCode::USAGE, "--strings-only is for a dictionary without shards");
    });
    addInputFiles(verb, InputFormats::ALL, options.m_files);
    addBlankNodes(verb, options.m_files, options.m_blankNodes);
    addThreads(verb, options.m_numberOfThreads);
    addMemoryLimit(verb, options.m_memoryLimit);
    addFeedback(verb, options.m_feedback);
    addJson(verb, JsonLayout::DOCUMENT, options.m_asksForJson);
    return verb;
}

ExitCode runEstimate(const EstimateOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const size_t dictionaryLimit = MemoryLimit::apply(options.m_memoryLimit, options.m_numberOfThreads);
    MessageOutput messages(errorOutput);
    const LoadEstimate estimate = makeEstimate(options, dictionaryLimit, messages);
    output.write(options.m_asksForJson ? estimate.toJson() : estimate.toText());
    output.flush();
    return ExitCode::DONE;
}

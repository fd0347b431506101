#include "tools/melnar-dict/load/LoadRun.h"

#include "tools/melnar-dict/load/ShardResolver.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

#include <algorithm>
#include <vector>

LoadRun::LoadRun(const LoadOptions& options, StandardOutput& output, MessageOutput& messages, std::ostream& errorOutput)
    : m_options(options), m_output(output), m_errorOutput(errorOutput), m_messages(messages),
      m_rejectedFile(options.m_rejectedName.empty() ? nullptr : std::make_unique<RejectedFile>(options.m_rejectedName)),
      m_journal({options.m_isLenient, options.m_numberOfErrorsShown, options.m_feedback.m_isQuiet}, m_messages,
                m_rejectedFile.get()) {}

FileLoader::Settings LoadRun::getSettings() {
    return {m_options.m_numberOfThreads,
            m_options.m_isLenient,
            m_options.m_base,
            m_options.m_makesShards ? ShardResolver::BLOCK_SIZE : BlockReader::DEFAULT_BLOCK_SIZE,
            m_options.m_maximumLine,
            !m_options.m_rejectedName.empty(),
            m_options.m_version,
            &m_bytesRead};
}

bool LoadRun::load(FileLoader& loader, const Figures& figures) {
    return load(
        [&] {
            for (const auto& [fileName, format] : m_options.m_files)
                if (!m_journal.isStopped()) {
                    const uint64_t before = m_journal.getCounts().m_statements;
                    loader.load(fileName, format);
                    m_statementsOfFiles.push_back(m_journal.getCounts().m_statements - before);
                }
        },
        figures);
}

bool LoadRun::load(const std::function<void()>& loadFiles, const Figures& figures) {
    m_start = std::chrono::steady_clock::now();
    {
        const ProgressReporter progress(m_messages, m_options.m_feedback.getProgressMode(), [&]() -> ProgressFigures {
            return {"loading",
                    m_bytesRead.load(std::memory_order_relaxed),
                    figures.m_totalBytes,
                    {m_options.m_loadsOnlyStrings
                         ? ProgressFigures::Count{m_journal.getLiteralsSoFar(), "literals"}
                         : ProgressFigures::Count{m_journal.getStatementsSoFar(), "statements"},
                     {figures.m_getNumberOfNewTerms(), "new distinct"}},
                    figures.m_getMemoryInUse()};
        });
        loadFiles();
    }
    if (m_rejectedFile != nullptr)
        m_rejectedFile->close();
    if (m_journal.isStopped())
        return false;
    m_journal.reportHiddenErrors();
    m_duration = std::chrono::steady_clock::now() - m_start;
    return true;
}

ExitCode LoadRun::tellStop() {
    if (m_options.m_asksForJson)
        printError(m_journal.getLastError(), m_journal.getExitCode(), JsonLayout::DOCUMENT, m_output);
    return m_journal.getExitCode();
}

LoadReport LoadRun::makeReport(const uint64_t firstDocument) const {
    LoadReport report;
    report.m_firstDocument = firstDocument;
    report.m_counts = m_journal.getCounts();
    report.m_errors = m_journal.getNumberOfErrors();
    report.m_seconds = m_duration.count();
    return report;
}

ExitCode LoadRun::print(const LoadReport& report, const std::vector<Lookup>& lookups) {
    if (m_options.m_idsName == STANDARD_STREAM) {
        m_output.flush();
        m_options.m_feedback.getNoteOutput(m_errorOutput) << report.toText();
        return ExitCode::DONE;
    }
    if (m_options.m_asksForJson)
        m_output.write(report.toJson(lookups));
    else {
        m_output.write(report.toText());
        for (const Lookup& lookup : lookups)
            m_output.write(lookup.toText());
    }
    m_output.flush();
    for (const Lookup& lookup : lookups)
        lookup.reportFlaw(m_errorOutput);
    return std::all_of(lookups.begin(), lookups.end(), [](const Lookup& lookup) { return lookup.isAnswered(); })
               ? ExitCode::DONE
               : ExitCode::BAD_DATA;
}

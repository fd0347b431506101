#pragma once

#include "tools/melnar-dict/load/FileLoader.h"
#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/load/LoadReport.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/MessageOutput.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <vector>

/// The part of a load that is the same whatever the terms are loaded into: reads the files, tells errors and progress, and
/// prints what came of it.
///
/// Ownership  Refers to the options and the outputs.
/// Threads    One at a time.
class LoadRun : private Unmovable {
public:
    /// Empties the file of what is skipped, if the options name one.
    LoadRun(const LoadOptions& options, StandardOutput& output, MessageOutput& messages, std::ostream& errorOutput);

    InputJournal& getJournal() noexcept { return m_journal; }

    /// For the FileLoader.
    FileLoader::Settings getSettings();

    /// How many terms are new, and what memory the dictionary uses, to tell the progress. Called by any thread.
    struct Figures {
        std::function<uint64_t()> m_getNumberOfNewTerms;
        std::function<uint64_t()> m_getMemoryInUse;
        uint64_t m_totalBytes; // of all files; 0 if that is not known
    };

    /// Loads all files, unless the journal stops. Returns whether it has not.
    bool load(FileLoader& loader, const Figures& figures);

    /// The same for who loads them in another way.
    bool load(const std::function<void()>& loadFiles, const Figures& figures);

    /// How many bytes of the files have been read, to tell the progress. For any thread at any time.
    std::atomic<uint64_t>& getBytesRead() noexcept { return m_bytesRead; }

    /// How many statements each file that a FileLoader has loaded has had.
    const std::vector<uint64_t>& getStatementsOfFiles() const noexcept { return m_statementsOfFiles; }

    /// What the load ends with if the journal has stopped.
    ExitCode tellStop();

    /// Completes what the journal knows; the dictionary's part is the caller's.
    LoadReport makeReport(uint64_t firstDocument) const;

    /// Prints the report, with the answers to lookups behind it. Returns what the load ends with.
    ExitCode print(const LoadReport& report, const std::vector<Lookup>& lookups);

private:
    const LoadOptions& m_options;
    StandardOutput& m_output;
    std::ostream& m_errorOutput;
    MessageOutput& m_messages;
    const std::unique_ptr<RejectedFile> m_rejectedFile; // null if what is skipped is not kept
    InputJournal m_journal;
    std::vector<uint64_t> m_statementsOfFiles;
    std::atomic<uint64_t> m_bytesRead = 0;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::duration<double> m_duration{};
};

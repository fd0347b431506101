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

/// The part of a load that is the same for all kinds of dictionaries: reads the files, reports errors and progress, and
/// prints the results.
///
/// Ownership  Refers to the options and the outputs.
/// Threads    One at a time.
class LoadRun : private Unmovable {
public:
    /// Empties the file of rejected bytes, if the options name one.
    LoadRun(const LoadOptions& options, StandardOutput& output, MessageOutput& messages, std::ostream& errorOutput);

    InputJournal& getJournal() noexcept { return m_journal; }

    /// Returns the settings for the FileLoader.
    FileLoader::Settings getSettings();

    /// Functions that return the number of new terms, and the memory of the dictionary, for the progress. Called by any
    /// thread.
    struct Figures {
        std::function<uint64_t()> m_getNumberOfNewTerms;
        std::function<uint64_t()> m_getMemoryInUse;
        uint64_t m_totalBytes; // of all files; 0 if unknown
    };

    /// Loads all files, unless the journal stops. Returns whether it has not stopped.
    bool load(FileLoader& loader, const Figures& figures);

    /// Does the same for callers that load the files in another way.
    bool load(const std::function<void()>& loadFiles, const Figures& figures);

    /// Returns how many bytes of the files have been read, for the progress. For any thread at any time.
    std::atomic<uint64_t>& getBytesRead() noexcept { return m_bytesRead; }

    /// Returns the number of statements of each file that a FileLoader has loaded.
    const std::vector<uint64_t>& getStatementsOfFiles() const noexcept { return m_statementsOfFiles; }

    /// Returns the exit code of the load if the journal has stopped.
    ExitCode tellStop();

    /// Fills in the figures of the journal; the caller fills in those of the dictionary.
    LoadReport makeReport(uint64_t firstDocument) const;

    /// Prints the report, followed by the answers to lookups. Returns the exit code of the load.
    ExitCode print(const LoadReport& report, const std::vector<Lookup>& lookups);

private:
    const LoadOptions& m_options;
    StandardOutput& m_output;
    std::ostream& m_errorOutput;
    MessageOutput& m_messages;
    const std::unique_ptr<RejectedFile> m_rejectedFile; // null if rejected bytes are not kept
    InputJournal m_journal;
    std::vector<uint64_t> m_statementsOfFiles;
    std::atomic<uint64_t> m_bytesRead = 0;
    std::chrono::steady_clock::time_point m_start;
    std::chrono::duration<double> m_duration{};
};

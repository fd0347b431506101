#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/RejectedFile.h"
#include "tools/melnar-dict/shell/MessageOutput.h"

#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

/// What came of the pieces of one file after another: sums up the counts and reports the errors in the order of the
/// file, whatever order the pieces are done in.
///
/// The first error stops the load, unless it is bad data and the load is lenient. Pieces are handed out in the order of
/// the file, so every piece before the one with the error is done in the end, and the error that is reported is the
/// first of the file with any number of threads; what happens behind it is left out.
///
/// What a piece rejects is written to a file in the order of the input, too. A piece with such bytes waits for its turn,
/// so that no more of them are held than there are threads.
///
/// All errors are counted, and so many are shown as the settings say, as well as the one that stops the load.
///
/// Threads  finish, stop and isStopped: any number at once; a thread that is not finishing a piece must not hold one back
///          that comes before. The rest: while no piece is worked on.
/// Errors   Those of the file with what was rejected, from the thread that writes; they stop the journal.
class InputJournal : private Unmovable {
public:
    struct Settings {
        bool m_isLenient = false;
        uint64_t m_numberOfErrorsShown = DEFAULT_NUMBER_OF_ERRORS_SHOWN;
        bool m_isQuiet = false; // shows only the error that stops the load
    };

    static constexpr uint64_t DEFAULT_NUMBER_OF_ERRORS_SHOWN = 20;

    /// The file may be none.
    InputJournal(const Settings& settings, MessageOutput& messages, RejectedFile* rejectedFile = nullptr)
        : m_settings(settings), m_messages(messages), m_rejectedFile(rejectedFile) {}

    /// Goes on to a file; the pieces of the last one are done.
    void startFile(const std::string& fileName);

    /// Takes a piece that is done. The pieces of a file are numbered from 0 without gaps.
    void finish(const ParsedPiece& piece);

    /// Ends the file, behind the piece before this one, with the exception that is being handled.
    void finishWithCurrentException(uint64_t sequence);

    /// Whether to take no new pieces up.
    bool isStopped() const noexcept { return m_isStopped.load(std::memory_order_relaxed); }

    /// Stops without an error of its own.
    void stop() noexcept;

    /// Says how many errors were not shown, if any, after the last file. An error that stops the load does so itself.
    void reportHiddenErrors();

    const StatementCounts& getCounts() const noexcept { return m_counts; }

    /// Returns how many statements, and string literals, have been read so far. For any thread at any time.
    uint64_t getStatementsSoFar() const noexcept { return m_statementsSoFar.load(std::memory_order_relaxed); }
    uint64_t getLiteralsSoFar() const noexcept { return m_literalsSoFar.load(std::memory_order_relaxed); }

    uint64_t getNumberOfErrors() const noexcept { return m_numberOfErrors; }

    /// That of the error that stopped the load, or DONE.
    ExitCode getExitCode() const noexcept { return m_exitCode; }

    /// How that error was reported, without a line end.
    const std::string& getLastError() const noexcept { return m_lastError; }

private:
    struct Result {
        uint64_t m_numberOfLineEnds;
        std::vector<InputError> m_errors;
        std::string m_rejected;
        bool m_endsRejectedLine;
    };

    void add(const ParsedPiece& piece);

    bool isFatal(const InputError& error) const noexcept;
    void report(const Result& result);
    std::string describe(const InputError& error) const;

    const Settings m_settings;
    std::atomic<bool> m_isStopped = false; // only a hint to stop early, so relaxed accesses do
    std::atomic<uint64_t> m_statementsSoFar = 0;
    std::atomic<uint64_t> m_literalsSoFar = 0;
    std::mutex m_mutex;             // protects all that follows
    std::condition_variable m_turn; // that of another piece, or the journal has stopped
    MessageOutput& m_messages;
    RejectedFile* const m_rejectedFile;
    std::string m_fileName;
    uint64_t m_nextSequence = 0;
    uint64_t m_firstLine = 1;             // of the next piece
    std::map<uint64_t, Result> m_waiting; // for pieces before them
    StatementCounts m_counts;
    uint64_t m_numberOfErrors = 0;
    uint64_t m_numberOfHiddenErrors = 0; // since this was said
    ExitCode m_exitCode = ExitCode::DONE;
    std::string m_lastError; // nothing unless it stopped the load
};

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

/// Collects the results of the pieces of one file after another: sums up the counts and reports the errors in the order
/// of the file, while pieces are finished in any order.
///
/// The first error stops the load, unless it is bad data and the load is lenient. Pieces are handed out in the order of
/// the file, so every piece before the one with the error is finished eventually, and the reported error is the first
/// of the file with any number of threads; everything after it is dropped.
///
/// The bytes that a piece rejects are also written to a file in the order of the input. A piece with such bytes waits
/// for its turn, so that at most one piece per thread is kept.
///
/// All errors are counted. The settings limit how many are shown; the error that stops the load is always shown.
///
/// Threads  finish, stop and isStopped: any number concurrently; a thread must not delay an earlier piece unless it is
///          finishing one. The rest: while no piece is in work.
/// Errors   Those of the file with rejected bytes, from the thread that writes; they stop the journal.
class InputJournal : private Unmovable {
public:
    struct Settings {
        bool m_isLenient = false;
        uint64_t m_numberOfErrorsShown = DEFAULT_NUMBER_OF_ERRORS_SHOWN;
        bool m_isQuiet = false; // shows only the error that stops the load
    };

    static constexpr uint64_t DEFAULT_NUMBER_OF_ERRORS_SHOWN = 20;

    /// The file may be null.
    InputJournal(const Settings& settings, MessageOutput& messages, RejectedFile* rejectedFile = nullptr)
        : m_settings(settings), m_messages(messages), m_rejectedFile(rejectedFile) {}

    /// Continues with the next file; all pieces of the last one are finished.
    void startFile(const std::string& fileName);

    /// Takes a finished piece. The pieces of a file are numbered from 0 without gaps.
    void finish(const ParsedPiece& piece);

    /// Ends the file, after the piece before this one, with the current exception.
    void finishWithCurrentException(uint64_t sequence);

    /// Returns whether to start no new pieces.
    bool isStopped() const noexcept { return m_isStopped.load(std::memory_order_relaxed); }

    /// Stops without reporting an error.
    void stop() noexcept;

    /// Reports how many errors were not shown, if any, after the last file. If an error stops the load, it does so
    /// itself.
    void reportHiddenErrors();

    const StatementCounts& getCounts() const noexcept { return m_counts; }

    /// Returns how many statements, and string literals, have been read so far. For any thread at any time.
    uint64_t getStatementsSoFar() const noexcept { return m_statementsSoFar.load(std::memory_order_relaxed); }
    uint64_t getLiteralsSoFar() const noexcept { return m_literalsSoFar.load(std::memory_order_relaxed); }

    uint64_t getNumberOfErrors() const noexcept { return m_numberOfErrors; }

    /// Returns the exit code of the error that stopped the load, or DONE.
    ExitCode getExitCode() const noexcept { return m_exitCode; }

    /// Returns the message of that error, without a line end.
    const std::string& getLastError() const noexcept { return m_lastError; }

    /// Returns its kind; OTHER if it is an error of the data.
    FailureKind getLastKind() const noexcept { return m_lastKind; }

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
    std::mutex m_mutex;             // protects everything below
    std::condition_variable m_turn; // another piece has its turn, or the journal has stopped
    MessageOutput& m_messages;
    RejectedFile* const m_rejectedFile;
    std::string m_fileName;
    uint64_t m_nextSequence = 0;
    uint64_t m_firstLine = 1;             // of the next piece
    std::map<uint64_t, Result> m_waiting; // for pieces before them
    StatementCounts m_counts;
    uint64_t m_numberOfErrors = 0;
    uint64_t m_numberOfHiddenErrors = 0; // since the last report
    ExitCode m_exitCode = ExitCode::DONE;
    std::string m_lastError; // nothing unless it stopped the load
    FailureKind m_lastKind = FailureKind::OTHER;
};

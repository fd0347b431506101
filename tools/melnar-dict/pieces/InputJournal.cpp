#include "tools/melnar-dict/pieces/InputJournal.h"

#include "tools/melnar-dict/shell/Amounts.h"
#include "tools/melnar-dict/shell/PrintableText.h"

#include <algorithm>

void InputJournal::startFile(const std::string& fileName) {
    m_fileName = fileName;
    m_nextSequence = 0;
    m_firstLine = 1;
    if (m_rejectedFile != nullptr)
        m_rejectedFile->endLine();
}

void InputJournal::finish(const ParsedPiece& piece) {
    if (std::any_of(piece.m_errors.begin(), piece.m_errors.end(),
                    [this](const InputError& error) { return isFatal(error); }))
        stop();
    try {
        add(piece);
    } catch (...) {
        stop(); // Otherwise the pieces after this one would wait forever.
        throw;
    }
}

void InputJournal::finishWithCurrentException(const uint64_t sequence) {
    ParsedPiece piece;
    piece.m_sequence = sequence;
    piece.m_errors.push_back(inputErrorOfCurrentException());
    finish(piece);
}

void InputJournal::stop() noexcept {
    {
        const std::lock_guard guard(m_mutex); // so that no thread that is about to wait misses it
        m_isStopped.store(true, std::memory_order_relaxed);
    }
    m_turn.notify_all();
}

void InputJournal::add(const ParsedPiece& piece) {
    std::unique_lock lock(m_mutex);
    if (!piece.m_rejected.empty())
        m_turn.wait(lock, [&] { return m_nextSequence == piece.m_sequence || isStopped(); });
    m_counts += piece.m_counts;
    m_statementsSoFar.store(m_counts.m_statements, std::memory_order_relaxed);
    m_literalsSoFar.store(m_counts.m_strings + m_counts.m_plainLiterals, std::memory_order_relaxed);
    m_waiting.emplace(piece.m_sequence,
                      Result{piece.m_numberOfLineEnds, piece.m_errors, piece.m_rejected, piece.m_endsRejectedLine});
    for (auto next = m_waiting.begin(); next != m_waiting.end() && next->first == m_nextSequence;
         next = m_waiting.erase(next)) {
        report(next->second);
        if (m_rejectedFile != nullptr && m_exitCode == ExitCode::DONE) {
            if (next->second.m_endsRejectedLine)
                m_rejectedFile->endLine();
            m_rejectedFile->write(next->second.m_rejected);
        }
        m_firstLine += next->second.m_numberOfLineEnds;
        ++m_nextSequence;
    }
    m_turn.notify_all();
}

void InputJournal::reportHiddenErrors() {
    if (m_numberOfHiddenErrors == 0 || m_settings.m_isQuiet)
        return;
    const std::string number = groupDigits(m_numberOfHiddenErrors);
    m_messages.write((m_numberOfHiddenErrors == m_numberOfErrors ? number : "… and " + number + " more") +
                     (m_numberOfHiddenErrors == 1 ? " error\n" : " errors\n"));
    m_numberOfHiddenErrors = 0;
}

bool InputJournal::isFatal(const InputError& error) const noexcept {
    return !m_settings.m_isLenient || error.m_exitCode != ExitCode::BAD_DATA;
}

void InputJournal::report(const Result& result) {
    for (const InputError& error : result.m_errors) {
        if (m_exitCode != ExitCode::DONE)
            return;
        if (isFatal(error)) {
            m_exitCode = error.m_exitCode;
            reportHiddenErrors();
            m_lastError = describe(error);
            m_lastKind = error.m_kind;
            m_messages.write(m_lastError + '\n');
        } else if (m_numberOfErrors < m_settings.m_numberOfErrorsShown && !m_settings.m_isQuiet)
            m_messages.write(describe(error) + '\n');
        else
            ++m_numberOfHiddenErrors;
        ++m_numberOfErrors;
    }
}

std::string InputJournal::describe(const InputError& error) const {
    std::string message = toPrintable(m_fileName) + ':';
    if (error.m_line != 0)
        message += std::to_string(m_firstLine + error.m_line - 1) + ':';
    if (error.m_column != 0)
        message += std::to_string(error.m_column) + ':';
    // Errors in the data quote it; other causes may have several lines.
    return message + ' ' +
           (error.m_exitCode == ExitCode::BAD_DATA ? toPrintable(error.m_cause) : toPrintableLines(error.m_cause));
}

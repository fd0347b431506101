#include "tools/melnar-dict/pieces/InputJournal.h"

#include "tools/melnar-dict/shell/Amounts.h"

#include <algorithm>

void InputJournal::startFile(const std::string& fileName) {
    m_fileName = fileName;
    m_nextSequence = 0;
    m_firstLine = 1;
}

void InputJournal::finish(const ParsedPiece& piece) {
    if (std::any_of(piece.m_errors.begin(), piece.m_errors.end(),
                    [this](const InputError& error) { return isFatal(error); }))
        stop();
    const std::lock_guard guard(m_mutex);
    m_counts += piece.m_counts;
    m_waiting.emplace(piece.m_sequence, Result{piece.m_numberOfLineEnds, piece.m_errors});
    for (auto next = m_waiting.begin(); next != m_waiting.end() && next->first == m_nextSequence;
         next = m_waiting.erase(next)) {
        report(next->second);
        m_firstLine += next->second.m_numberOfLineEnds;
        ++m_nextSequence;
    }
}

void InputJournal::reportHiddenErrors() {
    if (m_numberOfHiddenErrors == 0 || m_settings.m_isQuiet)
        return;
    m_errorOutput << (m_numberOfHiddenErrors == m_numberOfErrors ? "" : "… and ") << groupDigits(m_numberOfHiddenErrors)
                  << (m_numberOfHiddenErrors == m_numberOfErrors ? "" : " more")
                  << (m_numberOfHiddenErrors == 1 ? " error\n" : " errors\n");
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
            report(error);
        } else if (m_numberOfErrors < m_settings.m_numberOfErrorsShown && !m_settings.m_isQuiet)
            report(error);
        else
            ++m_numberOfHiddenErrors;
        ++m_numberOfErrors;
    }
}

void InputJournal::report(const InputError& error) {
    m_errorOutput << m_fileName << ':';
    if (error.m_line != 0)
        m_errorOutput << m_firstLine + error.m_line - 1 << ':';
    if (error.m_column != 0)
        m_errorOutput << error.m_column << ':';
    m_errorOutput << ' ' << error.m_cause << '\n';
}

#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <string>

/// The files that this process removes when it is interrupted, at most one of each kind, in this order: while the lock
/// file is there, the name of the output's is this process's.
enum class TemporaryFile : size_t { OUTPUT, SECOND_OUTPUT, LOCK, SECOND_LOCK, END };

/// Makes SIGHUP, SIGINT and SIGTERM end the process with exit code 129, 130 or 143, as a shell reports them, after
/// removing the temporary files that are there at that moment. SIGPIPE, when nobody reads what is written, does the same
/// and then ends the process itself, without a word. Signals that are ignored stay so: a broken pipe is then an error
/// of writing. Called once, before threads start.
void exitCleanlyWhenInterrupted();

/// Says whether standard error has a line at its end that is not ended: an interruption ends it then. Returns false when
/// an interruption is ending the process, so that nothing more is to be written.
bool setLineOpen(bool isOpen) noexcept;

/// Puts interruptions off while it lives, whichever thread they come to; at its end, one that has come ends the
/// process. Around the moments in which a temporary file appears or goes: so whoever is interrupted knows whether the
/// name is that of its own file, and never removes the file of another process that has taken the name since.
///
/// Limits  At most one at a time, for as short as possible.
class InterruptionDelay : private Unmovable {
public:
    InterruptionDelay() noexcept;
    ~InterruptionDelay();

    /// From the end of this delay on, an interruption removes the file, which is this process's. A name that is too
    /// long to be a file's is left alone.
    void setTemporaryFile(TemporaryFile kind, const std::string& fileName) noexcept;

    /// From the end of this delay on, an interruption removes no file of the kind.
    void forgetTemporaryFile(TemporaryFile kind) noexcept;
};

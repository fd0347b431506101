#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <string>

/// The files that this process removes when it is interrupted, at most one of each kind, in this order: while the lock
/// file exists, this process owns the name of the output.
enum class TemporaryFile : size_t { OUTPUT, SECOND_OUTPUT, LOCK, SECOND_LOCK, END };

/// Makes SIGHUP, SIGINT and SIGTERM end the process with exit code 129, 130 or 143, as a shell reports them, after
/// removing the temporary files that exist at that moment. SIGPIPE (no process reads the output) does the same and then
/// ends the process without a message. Ignored signals stay ignored: a broken pipe is then a write error. Called once,
/// before threads start.
void exitCleanlyWhenInterrupted();

/// Sets whether the last line on standard error is incomplete: then an interruption ends it. Returns false if an
/// interruption is ending the process, so that nothing more may be written.
bool setLineOpen(bool isOpen) noexcept;

/// Delays interruptions during its lifetime, in all threads; if one has arrived, the process ends with this object.
/// Used around the moments at which a temporary file is created or removed. So an interruption always knows whether the
/// name is that of its own file, and never removes the file of another process that has taken the name since.
///
/// Limits  At most one at a time, for as short as possible.
class InterruptionDelay : private Unmovable {
public:
    InterruptionDelay() noexcept;
    ~InterruptionDelay();

    /// Makes interruptions remove the file, which belongs to this process, from the end of this delay on. A name that
    /// is too long for a file is ignored.
    void setTemporaryFile(TemporaryFile kind, const std::string& fileName) noexcept;

    /// Makes interruptions remove no file of the kind from the end of this delay on.
    void forgetTemporaryFile(TemporaryFile kind) noexcept;
};

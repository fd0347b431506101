#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileLock.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

/// The files that a verb may write.
enum class Output : uint8_t { FIRST, SECOND };

/// The lock of a file that a verb writes, taken before anything is read. An interruption leaves no lock file.
///
/// Limits  At most one at a time for each output.
/// Errors  Those of FileLock. If another process holds the lock: a ToolFailure with ExitCode::FAILURE that names it, or
///         with `waits` a line on `errorOutput` that does, and a wait until the lock is free.
class OutputLock : private Unmovable {
public:
    OutputLock(const std::string& fileName, bool waits, std::ostream& errorOutput, Output output = Output::FIRST);
    ~OutputLock();

    Output getOutput() const noexcept { return m_output; }

    FileLock& get() noexcept { return *m_lock; }

    /// The name under which to read the locked file.
    const std::string& getTargetName() const noexcept { return m_lock->getTarget().getName(); }

private:
    const Output m_output;
    std::optional<FileLock> m_lock; // nothing only while it is taken and released
};

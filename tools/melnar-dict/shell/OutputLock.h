#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileLock.h"

#include <optional>
#include <ostream>
#include <string>

/// The lock of the file that a verb writes, taken before anything is read. An interruption leaves no lock file.
///
/// Limits  At most one at a time.
/// Errors  Those of FileLock; when another process holds the lock, a ToolFailure with ExitCode::FAILURE that names it,
///         or with `waits` a line on `errorOutput` that does, and a wait until the lock is free.
class OutputLock : private Unmovable {
public:
    OutputLock(const std::string& fileName, bool waits, std::ostream& errorOutput);
    ~OutputLock();

    FileLock& get() noexcept { return *m_lock; }

    /// The name to read the locked file by.
    const std::string& getTargetName() const noexcept { return m_lock->getTarget().getName(); }

private:
    std::optional<FileLock> m_lock; // nothing only while it is taken and released
};

#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileDescriptor.h"
#include "Engine/core/platform/stream/TargetFile.h"

#include <atomic>
#include <functional>
#include <string>

namespace melnar {
class AtomicFileOutputStream;
} // namespace melnar

/// The exclusive right to replace a file. A writer that takes the lock before it reads the file, and holds it until it
/// has replaced the file, loses nothing that another writer saves: each one starts when the other has finished.
///
/// The lock is taken with flock, on a separate empty file beside the target, TARGET.lock. While it is locked, its text
/// names the holder. The system releases the lock when the holder ends, for whatever reason. The holder removes the
/// lock file; if it is killed before, the next one replaces the file.
///
/// Names      Symbolic links are followed, see TargetFile: writers exclude each other whichever name they use.
/// Readers    Need no lock and never wait: a file is replaced atomically.
/// Ownership  Owns the lock and the lock file. Must outlive the AtomicFileOutputStreams that write under it. A child
///            process made by fork shares the lock until it executes another program or ends; it must not destroy this.
/// Threads    One at a time. Locks of one file exclude each other within a process as well.
/// Errors     MelnarException that names the holder if the lock is held and the caller does not wait, and if a file of
///            another kind has the lock file's name; SystemCallException; those of TargetFile. The lock is not held
///            then.
/// Limits     Excludes only writers that take the lock, not those that write without it or remove the lock file by
///            hand. Between machines it works if the file system passes flock on to the server and does not cache
///            names; with a stale cache, two machines can hold the lock.
class MELNAR_EXPORT FileLock : private Unmovable {
public:
    /// Called while another writer holds the lock, with the holder, such as "process 4711 on host alpha". It may call
    /// `wait`, which returns when the holder has released the lock, or throw. After it returns, the lock is tried
    /// again.
    using WhenHeld = std::function<void(const std::string& holder, const std::function<void()>& wait)>;

    /// Takes the lock; throws if another writer holds it.
    explicit FileLock(const std::string& fileName);

    /// Takes the lock; calls `whenHeld` as long as another writer holds it. Waiters have no order.
    FileLock(const std::string& fileName, const WhenHeld& whenHeld);
    ~FileLock();

    /// Returns the name that was given.
    const std::string& getFileName() const noexcept { return m_fileName; }

    /// Returns the file that is locked. Read it under the lock by this name: a link may have changed since.
    const melnar::TargetFile& getTarget() const noexcept { return m_target; }

    /// Returns the name of the lock file, which must be removed after an interruption.
    const std::string& getLockFileName() const noexcept { return m_lockFileName; }

    /// Returns the name of the lock file of a target.
    static std::string getLockFileNameOf(const melnar::TargetFile& target);

private:
    friend class melnar::AtomicFileOutputStream;

    /// Lets one stream at a time write under a lock, since two would write to the same temporary file.
    class Use : private Unmovable {
    public:
        explicit Use(FileLock& lock);
        ~Use() { m_lock.m_isInUse.store(false, std::memory_order_relaxed); }

    private:
        FileLock& m_lock;
    };

    bool tryToTake(const WhenHeld& whenHeld);

    const std::string m_fileName;
    const melnar::TargetFile m_target;
    const std::string m_lockFileName;
    melnar::FileDescriptor m_file;
    std::atomic<bool> m_isInUse; // only detects misuse, so relaxed accesses suffice
};

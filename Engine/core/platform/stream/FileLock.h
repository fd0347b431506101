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

/// The exclusive right to replace a file. A writer that takes it before it reads the file, and holds it until it has
/// replaced the file, loses nothing that another writer saves: each begins when the other has finished.
///
/// The lock is flock's, on an empty file of its own beside the target, TARGET.lock, whose text then names the holder.
/// The system releases the lock when the holder ends, however it ends. The lock file is removed by its holder; one that
/// a killed holder has left is replaced by the next.
///
/// Names      Symbolic links are followed, see TargetFile: writers by any of the names exclude each other.
/// Readers    Need no lock and are never held up: a file is replaced atomically.
/// Ownership  Owns the lock and the lock file. Must outlive the AtomicFileOutputStreams that write under it. A child
///            process made by fork shares the lock until it executes another program or ends; it must not destroy this.
/// Threads    One at a time. Locks of one file exclude each other within a process as well.
/// Errors     MelnarException that names the holder when the lock is held and the caller does not wait, and when a file
///            of another kind has the lock file's name; SystemCallException; those of TargetFile. Nothing is held then.
/// Limits     Excludes those who take the lock, not those who write without it or remove the lock file by hand. Between
///            machines it works where the file system passes flock on to the server and caches no names; a stale cache
///            can let two machines in.
class MELNAR_EXPORT FileLock : private Unmovable {
public:
    /// Is called when the lock is held, with the holder, such as "process 4711 on host alpha". It may call `wait`, which
    /// returns when the holder has released the lock, or throw. When it returns the lock is tried again.
    using WhenHeld = std::function<void(const std::string& holder, const std::function<void()>& wait)>;

    /// Takes the lock; throws when it is held.
    explicit FileLock(const std::string& fileName);

    /// Takes the lock, and leaves it to `whenHeld` what to do as long as it is held. Waiters have no order.
    FileLock(const std::string& fileName, const WhenHeld& whenHeld);
    ~FileLock();

    /// The name that was given.
    const std::string& getFileName() const noexcept { return m_fileName; }

    /// The file that is locked. What is read under the lock must be read by its name: a link may since lead elsewhere.
    const melnar::TargetFile& getTarget() const noexcept { return m_target; }

    /// For cleaning up after an interruption.
    const std::string& getLockFileName() const noexcept { return m_lockFileName; }

    static std::string getLockFileNameOf(const melnar::TargetFile& target);

private:
    friend class melnar::AtomicFileOutputStream;

    /// Lets one stream at a time write under a lock: two would write to one temporary file.
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
    std::atomic<bool> m_isInUse; // only detects misuse, so relaxed accesses do
};

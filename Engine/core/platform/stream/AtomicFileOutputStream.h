#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/stream/FileOutputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <optional>
#include <string>

#include <sys/stat.h>
#include <sys/types.h>

namespace melnar {

/// Writes a file that replaces the old one atomically or not at all.
///
/// The bytes are written to a temporary file beside the target. commit() flushes it to the disk, renames it over the
/// target and flushes the folder. Destruction without a commit removes the temporary file. Whatever happens before the
/// rename, including a crash, leaves the old file intact. A process that is killed leaves its temporary file, or an old
/// file (see replaceBoth). Their names are always the same, and the next writer of the file removes both.
///
/// Ownership  Owns the temporary file. The file's lock excludes other writers: the caller's lock, or one that is held
///            from construction until the commit.
/// Metadata   Keeps the permissions of the old file; those of the temporary file never exceed them. Keeps owner and
///            group as far as the process may change them; it is no failure if it may not.
/// Errors     SystemCallException that names the file and the call; those of FileLock and TargetFile, before anything
///            is written. After a failure in commit the target is the old file or the new one.
class AtomicFileOutputStream final : public OutputStream, private Unmovable {
public:
    /// Takes the lock of the file.
    explicit AtomicFileOutputStream(const std::string& fileName);

    /// Writes under a lock that the caller holds, and that must outlive this object. Only one stream at a time may use
    /// a lock.
    explicit AtomicFileOutputStream(FileLock& lock);

    const std::string& getName() const override { return m_fileName; }
    void write(const void* const data, const size_t numberOfBytes) override {
        m_temporaryFile.m_output.write(data, numberOfBytes);
    }
    void flush() override { m_temporaryFile.m_output.flush(); }

    /// Completes the temporary file: flushes it to the disk and gives it the owner, group and permissions of the old
    /// file. A failure after this is never due to lack of disk space. Nothing may be written afterwards. A second call
    /// does nothing.
    void prepare();

    /// Replaces the target by the temporary file; calls prepare first if necessary. Nothing may be written afterwards.
    void commit();

    /// Does what commit does for two streams together, and keeps the old files until `keep`, which must be called for
    /// each.
    ///
    /// A separate process replaces both files, so that a kill of this process alone leaves both new or both old. If
    /// there can be no such process, or the file system cannot exchange two files, this process replaces one file after
    /// the other, and may be killed in between; so may both processes if they are killed together. After a failure the
    /// old files are in their places, unless the message states otherwise. A power cut during the call may leave the
    /// first file new and the second one old. A process that is killed before `keep` leaves an old file under the name
    /// of the temporary file or, where files cannot be exchanged, under getReplacedFileNameOf.
    static void replaceBoth(AtomicFileOutputStream& first, AtomicFileOutputStream& second);

    /// Removes the old file, after replaceBoth.
    void keep() noexcept { m_temporaryFile.removeReplaced(); }

    /// Returns the file that is written until the commit, also readable, for callers that rewrite parts of it.
    FileOutputStream& getTemporaryFile() noexcept { return m_temporaryFile.m_output; }

    /// Returns the name of the file that is written until the commit, which must be removed after an interruption.
    const std::string& getTemporaryFileName() const noexcept { return m_temporaryFile.m_fileName; }

    /// Returns the name of the temporary file for a target.
    static std::string getTemporaryFileNameOf(const TargetFile& target);

    /// Returns when the names of a folder's files are on the disk.
    static void synchronizeFolder(const std::string& folderName);

    /// Gives a file that is being written the metadata of another one.
    static void keepMetadata(const FileOutputStream& output, const struct stat& oldFile);

    /// Returns the name under which replaceBoth may keep the old file.
    static std::string getReplacedFileNameOf(const TargetFile& target);

private:
    /// Removes leftovers of a writer that was killed. Is removed unless it has been renamed. The lock protects its
    /// name.
    class TemporaryFile : private Unmovable {
    public:
        TemporaryFile(const TargetFile& target, mode_t permissions);
        ~TemporaryFile();

        void renameTo(const std::string& targetName);
        void replace(const TargetFile& target);
        void noteExchanged(bool isExchanged, bool wasTargetThere) noexcept;
        void takeBack(const TargetFile& target);
        void removeReplaced() noexcept;

        const std::string m_fileName;
        const std::string m_linkName; // of the old file, where files cannot be exchanged
        FileOutputStream m_output;

    private:
        bool m_isRenamed;
        const std::string* m_replacedName; // of the old file after it was replaced; null if there was none
    };

    static void exchangeBoth(AtomicFileOutputStream& first, AtomicFileOutputStream& second);
    void takeBack();

    const std::string m_fileName;
    std::optional<FileLock> m_ownLock;  // nothing after the commit
    std::optional<FileLock::Use> m_use; // of the own lock or the caller's; nothing after the commit
    const TargetFile m_target;
    TemporaryFile m_temporaryFile;
    bool m_isPrepared;
};

} // namespace melnar

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
/// The bytes go to a temporary file beside the target; commit() flushes it to the disk, renames it over the target and
/// flushes the folder. Destruction without a commit removes the temporary file. Whatever happens before the rename, a
/// crash included, leaves the old file whole. A process that is killed leaves its temporary file behind, or an old file
/// (see replaceBoth); the names are always the same, and the next writer of the file removes both.
///
/// Ownership  Owns the temporary file. The file's lock keeps other writers away: the caller's, or else one that is held
///            from construction until the commit.
/// Metadata   The permissions of the old file are kept, and those of the temporary file never exceed them. Its owner and
///            group are kept as far as the process may give files away; that it may not is no failure.
/// Errors     SystemCallException that names the file and the call; those of FileLock and TargetFile, before anything is
///            written. After a failure in commit the target is the old file or the new one.
class AtomicFileOutputStream final : public OutputStream, private Unmovable {
public:
    /// Takes the lock of the file for itself.
    explicit AtomicFileOutputStream(const std::string& fileName);

    /// Writes under a lock that the caller holds, and that must outlive this. One stream at a time does.
    explicit AtomicFileOutputStream(FileLock& lock);

    const std::string& getName() const override { return m_fileName; }
    void write(const void* const data, const size_t numberOfBytes) override {
        m_temporaryFile.m_output.write(data, numberOfBytes);
    }
    void flush() override { m_temporaryFile.m_output.flush(); }

    /// Completes the temporary file: flushes it to the disk and gives it owner, group and permissions of the old file.
    /// What still fails after that is not for want of space. Nothing may be written afterwards. A second call does
    /// nothing.
    void prepare();

    /// Makes what was written the file; prepares it first unless that is done. Nothing may be written afterwards.
    void commit();

    /// Makes what was written to both streams their files like commit, but together, and keeps the old files until `keep`,
    /// which must follow for each. A process of its own does both atomically, so that a kill of this one alone leaves both
    /// new or both old; where there is no such process, or the file system cannot exchange two files, this one does, one
    /// file after the other, and may be killed between, as both may that are killed together. After a failure the old
    /// files are in their places, unless the message says something else. A power cut in the midst may leave the first
    /// file new and the second one old. A process that is killed before `keep` leaves an old file as the temporary file, or, where files cannot be exchanged, under
    /// getReplacedFileNameOf.
    static void replaceBoth(AtomicFileOutputStream& first, AtomicFileOutputStream& second);

    /// Removes the old file, after replaceBoth.
    void keep() noexcept { m_temporaryFile.removeReplaced(); }

    /// The file that is written until the commit, readable too; for those who rewrite what they have written.
    FileOutputStream& getTemporaryFile() noexcept { return m_temporaryFile.m_output; }

    /// Where the bytes are written until the commit; for cleaning up after an interruption.
    const std::string& getTemporaryFileName() const noexcept { return m_temporaryFile.m_fileName; }

    /// Where the bytes for a target are written.
    static std::string getTemporaryFileNameOf(const TargetFile& target);

    /// Returns only when the names of a folder's files are on the disk.
    static void synchronizeFolder(const std::string& folderName);

    /// Gives a file that is being written the metadata of another one.
    static void keepMetadata(const FileOutputStream& output, const struct stat& oldFile);

    /// Where replaceBoth may keep the old file.
    static std::string getReplacedFileNameOf(const TargetFile& target);

private:
    /// Takes the place of what a dead writer has left, and is removed unless it has been renamed. The lock protects its name.
    class TemporaryFile : private Unmovable {
    public:
        TemporaryFile(const TargetFile& target, mode_t permissions);
        ~TemporaryFile();

        void renameTo(const std::string& targetName);
        void replace(const TargetFile& target);
        void noteExchanged(bool wasTargetThere);
        void takeBack(const TargetFile& target);
        void removeReplaced() noexcept;

        const std::string m_fileName;
        FileOutputStream m_output;

    private:
        bool m_isRenamed;
        std::string m_replacedName; // of the old file after it was replaced; empty if there was none
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

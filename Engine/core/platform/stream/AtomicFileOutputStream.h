#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileOutputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <string>

/// Writes a file that replaces the old one all at once or not at all.
///
/// The bytes go to a temporary file beside the target; commit() flushes it to the disk, renames it over the target and
/// flushes the folder. Destruction without a commit removes the temporary file. Whatever happens before the rename, a
/// crash included, leaves the old file whole. A process that is killed leaves its temporary file behind; the name is
/// always the same, so the next writer takes it over.
///
/// Ownership  Owns the temporary file, and a lock on it that keeps other writers of the same target away. A target that
///            is a symbolic link is followed, also to where no file is yet. Permissions of the old file are kept.
/// Errors     SystemCallException that names the file and the call; MelnarException when another writer is at work,
///            and, before anything is written, when the target exists and is not a regular file: a folder, a device, a
///            pipe, a socket. After a failure in commit the target is the old file or the new one.
class AtomicFileOutputStream final : public OutputStream, private Unmovable {
public:
    explicit AtomicFileOutputStream(const std::string& fileName);

    const std::string& getName() const override { return m_fileName; }
    void write(const void* const data, const size_t numberOfBytes) override { m_output.write(data, numberOfBytes); }
    void flush() override { m_output.flush(); }

    /// Completes the temporary file: flushes it to the disk and gives it the permissions of the old file. What still
    /// fails after that is not for want of space. Nothing may be written afterwards. A second call does nothing.
    void prepare();

    /// Makes what was written the file; prepares it first unless that is done. Nothing may be written afterwards.
    void commit();

    /// Where the bytes are written until the commit; for cleaning up after an interruption.
    const std::string& getTemporaryFileName() const noexcept { return m_temporaryFile.m_fileName; }

private:
    /// The temporary file's name, held by a lock on the file; removes the file unless it has been renamed.
    class TemporaryFile : private Unmovable {
    public:
        explicit TemporaryFile(const std::string& fileName);
        ~TemporaryFile();

        void renameTo(const std::string& targetName);

        const std::string m_fileName;

    private:
        int m_fileDescriptor; // for the lock only
        bool m_isRenamed;
    };

    const std::string m_fileName;
    const std::string m_targetName; // links followed
    TemporaryFile m_temporaryFile;
    FileOutputStream m_output;
    bool m_isPrepared;
};

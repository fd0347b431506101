#pragma once

#include "tools/melnar-dict/shell/Interruption.h"
#include "tools/melnar-dict/shell/OutputLock.h"

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileOutputStream.h"

#include <optional>

/// A file that the tool writes. A commit replaces the old file atomically; without a commit the old file stays. An
/// interruption before the commit leaves the old file, one after it the new one, and neither leaves a temporary file.
///
/// Limits  At most one at a time for each output.
/// Errors  Those of AtomicFileOutputStream.
class OutputFile : private Unmovable {
public:
    /// The lock must outlive this.
    explicit OutputFile(OutputLock& lock);
    ~OutputFile();

    /// Takes the bytes, until prepare or commit.
    OutputStream& getStream() noexcept { return *m_stream; }

    /// The file that holds the bytes until commit.
    const std::string& getTemporaryFileName() const noexcept { return m_stream->getTemporaryFileName(); }

    /// The bytes so far, to be rewritten before prepare.
    melnar::FileOutputStream& getTemporaryFile() noexcept { return m_stream->getTemporaryFile(); }

    /// Completes every step that may fail for lack of space: afterwards the bytes are on the disk.
    void prepare() { m_stream->prepare(); }

    /// Replaces the old file. The last operation.
    void commit();

    /// Commits both. An interruption, a failure or a kill of the process leaves both new files or both old ones; see
    /// AtomicFileOutputStream::replaceBoth.
    static void commitBoth(OutputFile& first, OutputFile& second);

private:
    TemporaryFile getKind() const noexcept;

    /// Makes an interruption ignore the temporary file from the end of a delay on, in which the file is removed.
    void close(InterruptionDelay& delay) noexcept;

    const Output m_output;
    std::optional<melnar::AtomicFileOutputStream> m_stream; // nothing after commit
};

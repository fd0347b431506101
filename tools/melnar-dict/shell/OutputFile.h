#pragma once

#include "tools/melnar-dict/shell/Interruption.h"
#include "tools/melnar-dict/shell/OutputLock.h"

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileOutputStream.h"

#include <optional>

/// A file that the tool writes: it replaces the old one atomically, by commit, or not at all. An interruption before
/// that moment leaves the old file, one behind it the new one, and neither leaves a temporary file.
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

    /// Where the bytes are until commit.
    const std::string& getTemporaryFileName() const noexcept { return m_stream->getTemporaryFileName(); }

    /// The bytes so far, to be rewritten before prepare.
    FileOutputStream& getTemporaryFile() noexcept { return m_stream->getTemporaryFile(); }

    /// Makes everything ready that may still fail for want of space: afterwards the bytes are on the disk.
    void prepare() { m_stream->prepare(); }

    /// Makes what was written the file. The last operation.
    void commit();

    /// Commits both, so that an interruption or a failure, and what kills the process, leaves both new files or both old
    /// ones; see AtomicFileOutputStream::replaceBoth.
    static void commitBoth(OutputFile& first, OutputFile& second);

private:
    TemporaryFile getKind() const noexcept;

    /// Makes an interruption forget the temporary file at the end of a delay in which the file goes.
    void close(InterruptionDelay& delay) noexcept;

    const Output m_output;
    std::optional<AtomicFileOutputStream> m_stream; // nothing after commit
};

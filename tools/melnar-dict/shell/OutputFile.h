#pragma once

#include "tools/melnar-dict/shell/OutputLock.h"

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"

#include <optional>

/// A file that the tool writes: it replaces the old one atomically, by commit, or not at all. An interruption before
/// that moment leaves the old file, one behind it the new one, and neither leaves a temporary file.
///
/// Limits  At most one at a time.
/// Errors  Those of AtomicFileOutputStream.
class OutputFile : private Unmovable {
public:
    /// The lock must outlive this.
    explicit OutputFile(OutputLock& lock);
    ~OutputFile();

    /// Takes the bytes, until prepare or commit.
    OutputStream& getStream() noexcept { return *m_stream; }

    /// Makes everything ready that may still fail for want of space: afterwards the bytes are on the disk.
    void prepare() { m_stream->prepare(); }

    /// Makes what was written the file. The last operation.
    void commit();

private:
    std::optional<AtomicFileOutputStream> m_stream; // nothing after commit
};

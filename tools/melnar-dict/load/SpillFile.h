#pragma once

#include "tools/melnar-dict/load/SpillPrefix.h"

#include "Engine/core/data-store/Checksum.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileDescriptor.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// A file of a load's unfinished work that is only appended to. There may be many of them, so its buffer is smaller
/// than that of a FileOutputStream.
///
/// A checksum of all bytes is kept while they are written, and recorded at each checkpoint. A resumed load reads the
/// recorded part once, before any other work: that compares its checksum, restores the state with which the checksum
/// continues, and reports damage before hours are spent on the rest of the load. An uninterrupted load needs no
/// additional pass.
///
/// Ownership  Owns the file descriptor and the buffer of BUFFER_SIZE bytes. The file stays.
/// Threads    One at a time.
/// Errors     SystemCallException that names the file and the call; MelnarException of kind DAMAGED_FILE that names a
///            file without the recorded part.
class SpillFile final : public OutputStream, private Unmovable {
public:
    static constexpr size_t BUFFER_SIZE = size_t(1) << 15;

    /// Creates the file, or empties an existing one.
    explicit SpillFile(const std::string& fileName) : SpillFile(fileName, {}) {}

    /// Continues after this part of the file, and cuts off the rest. A damaged file stays unchanged.
    SpillFile(const std::string& fileName, const SpillPrefix& prefix);

    /// Throws if a file does not start with this part.
    static void verify(const std::string& fileName, const SpillPrefix& prefix);

    const std::string& getName() const override { return m_fileName; }
    void write(const void* data, size_t numberOfBytes) override;
    void flush() override;

    /// Flushes, and returns only when the bytes are on the disk. Returns what a checkpoint records of them.
    SpillPrefix synchronize();

    uint64_t getNumberOfBytes() const noexcept { return m_numberOfBytes; }

private:
    static void read(const std::string& fileName, const SpillPrefix& prefix, melnar::Checksum& checksum);
    void writeThrough(const char* bytes, size_t numberOfBytes);

    const std::string m_fileName;
    melnar::FileDescriptor m_file;
    std::string m_buffer;
    uint64_t m_numberOfBytes;
    melnar::Checksum m_checksum; // of the bytes that have been written through
};

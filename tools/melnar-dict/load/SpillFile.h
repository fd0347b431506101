#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileDescriptor.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// A file of a load's unfinished work to which is appended. There may be many at once, so its buffer is smaller than that of
/// a FileOutputStream.
///
/// Ownership  Owns the file descriptor and the buffer of BUFFER_SIZE bytes. The file stays.
/// Threads    One at a time.
/// Errors     SystemCallException that names the file and the call.
class SpillFile final : public OutputStream, private Unmovable {
public:
    static constexpr size_t BUFFER_SIZE = size_t(1) << 15;

    /// Makes the file, or empties the one that is there.
    explicit SpillFile(const std::string& fileName) : SpillFile(fileName, 0) {}

    /// Goes on behind so many bytes of the file, and cuts off what comes after them. If there are fewer, the file is not what
    /// it was: MelnarException.
    SpillFile(const std::string& fileName, uint64_t numberOfBytes);

    const std::string& getName() const override { return m_fileName; }
    void write(const void* data, size_t numberOfBytes) override;
    void flush() override;

    /// Flushes, and returns only when the bytes are on the disk.
    void synchronize();

    uint64_t getNumberOfBytes() const noexcept { return m_numberOfBytes; }

private:
    void writeThrough(const char* bytes, size_t numberOfBytes);

    const std::string m_fileName;
    FileDescriptor m_file;
    std::string m_buffer;
    uint64_t m_numberOfBytes = 0;
};

#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileDescriptor.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// A file of a load's unfinished work that is only appended to. There may be many of them, so its buffer is smaller
/// than that of a FileOutputStream.
///
/// Ownership  Owns the file descriptor and the buffer of BUFFER_SIZE bytes. The file stays.
/// Threads    One at a time.
/// Errors     SystemCallException that names the file and the call.
class SpillFile final : public OutputStream, private Unmovable {
public:
    static constexpr size_t BUFFER_SIZE = size_t(1) << 15;

    /// Creates the file, or empties an existing one.
    explicit SpillFile(const std::string& fileName) : SpillFile(fileName, 0) {}

    /// Continues after so many bytes of the file, and cuts off the rest. If the file has fewer bytes, it has changed:
    /// MelnarException.
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
    melnar::FileDescriptor m_file;
    std::string m_buffer;
    uint64_t m_numberOfBytes = 0;
};

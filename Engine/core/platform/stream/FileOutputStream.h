#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <cstdint>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/types.h>

namespace melnar {

/// Writes a file, and replaces an old one.
///
/// Ownership  Owns the file descriptor and a buffer of BUFFER_SIZE bytes.
/// Errors     SystemCallException that names the file and the call. Interrupted and short writes are continued.
///            After a failed write, to the file or to the disk, the stream never completes: close() fails as well.
/// Completion The file is complete only after close() has returned. The destructor closes the file and discards
///            buffered bytes, since it could not report a failure.
class MELNAR_EXPORT FileOutputStream final : public OutputStream, private Unmovable {
public:
    /// The size of the buffer, in bytes.
    static constexpr size_t BUFFER_SIZE = size_t(1) << 18;

    /// `flags` contains the access mode, and is added to the flags for opening the file. A new file gets the
    /// permissions, minus the process's mask.
    explicit FileOutputStream(const std::string& fileName, int flags = O_WRONLY, mode_t permissions = 0666);
    ~FileOutputStream() override;

    const std::string& getName() const override { return m_fileName; }
    void write(const void* data, size_t numberOfBytes) override;
    void flush() override;

    /// Flushes, and overwrites bytes that were written before, or appends after the last ones.
    void overwrite(uint64_t position, const void* data, size_t numberOfBytes);

    /// Flushes, and reads bytes that were written before. The file must have been opened with O_RDWR.
    void readBack(uint64_t position, void* data, size_t numberOfBytes);

    /// Flushes, and truncates the file. Nothing may be appended afterwards.
    void truncate(uint64_t numberOfBytes);

    /// Flushes, and returns only when the bytes are on the disk.
    void synchronize();

    /// Returns the descriptor, for operations on the whole file; valid until the file is closed.
    int getFileDescriptor() const noexcept { return m_fileDescriptor; }

    /// Flushes and closes. Nothing may be written afterwards.
    void close();

private:
    void writeThrough(const uint8_t* data, size_t numberOfBytes);
    template<class Call>
    int writeAll(const uint8_t* data, size_t numberOfBytes, const Call& call) noexcept;
    void noticeWritten(size_t numberOfBytes) noexcept;

    const std::string m_fileName;
    const std::unique_ptr<uint8_t[]> m_buffer;
    size_t m_bufferedBytes;
    size_t m_bytesToStart = 0; // written to the file since the system was last told to start writing to the disk
    int m_fileDescriptor;
};

} // namespace melnar

#include "Engine/core/platform/stream/FileOutputStream.h"

#include "Engine/core/platform/SystemCallException.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace melnar {

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/stream/FileOutputStream";
constexpr long LINE_CANNOT_CREATE = 31;
constexpr long LINE_CANNOT_WRITE = 58;
constexpr long LINE_CANNOT_SYNCHRONIZE = 68;
constexpr long LINE_CANNOT_CLOSE = 79;
constexpr long LINE_CANNOT_OVERWRITE = 101;
constexpr long LINE_CANNOT_READ_BACK = 114;
constexpr long LINE_IS_SHORTER = 117;
constexpr long LINE_CANNOT_TRUNCATE = 128;

// The operating system cuts larger requests anyway.
constexpr size_t MAXIMUM_BYTES_PER_WRITE = 0x7FFFF000;

constexpr size_t BYTES_BETWEEN_STARTS = size_t(1) << 22;

} // namespace

FileOutputStream::FileOutputStream(const std::string& fileName, const int flags, const mode_t permissions)
    : m_fileName(fileName), m_buffer(std::make_unique_for_overwrite<uint8_t[]>(BUFFER_SIZE)), m_bufferedBytes(0),
      m_fileDescriptor(-1) {
    do {
        m_fileDescriptor = ::open(m_fileName.c_str(), O_CREAT | O_TRUNC | O_CLOEXEC | flags, permissions);
    } while (m_fileDescriptor == -1 && errno == EINTR);
    if (m_fileDescriptor == -1)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_CREATE, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot create file '", m_fileName, "'.");
}

FileOutputStream::~FileOutputStream() {
    if (m_fileDescriptor != -1)
        ::close(m_fileDescriptor);
}

void FileOutputStream::write(const void* const data, const size_t numberOfBytes) {
    if (numberOfBytes > BUFFER_SIZE - m_bufferedBytes)
        flush();
    if (numberOfBytes >= BUFFER_SIZE)
        writeThrough(static_cast<const uint8_t*>(data), numberOfBytes);
    else if (numberOfBytes != 0) {
        std::memcpy(m_buffer.get() + m_bufferedBytes, data, numberOfBytes);
        m_bufferedBytes += numberOfBytes;
    }
}

void FileOutputStream::flush() {
    writeThrough(m_buffer.get(), m_bufferedBytes);
    m_bufferedBytes = 0;
}

void FileOutputStream::overwrite(const uint64_t position, const void* const data, const size_t numberOfBytes) {
    flush();
    const int errorCode =
        writeAll(static_cast<const uint8_t*>(data), numberOfBytes,
                 [this, position](const uint8_t* const bytes, const size_t size, const size_t offset) {
                     return ::pwrite(m_fileDescriptor, bytes, size, static_cast<off_t>(position + offset));
                 });
    if (errorCode != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OVERWRITE, MelnarException::NO_CAUSES, "pwrite", errorCode,
                                  "Cannot write to file '", m_fileName, "'.");
}

void FileOutputStream::readBack(uint64_t position, void* const data, size_t numberOfBytes) {
    flush();
    for (uint8_t* bytes = static_cast<uint8_t*>(data); numberOfBytes != 0;) {
        const ssize_t delivered = ::pread(m_fileDescriptor, bytes, numberOfBytes, static_cast<off_t>(position));
        if (delivered > 0) {
            bytes += delivered;
            position += static_cast<uint64_t>(delivered);
            numberOfBytes -= static_cast<size_t>(delivered);
        } else if (delivered == 0)
            throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_IS_SHORTER, MelnarException::NO_CAUSES,
                                  "File '", m_fileName, "' became shorter while it was being written.");
        else if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_READ_BACK, MelnarException::NO_CAUSES, "pread", errno,
                                      "Cannot read file '", m_fileName, "'.");
    }
}

void FileOutputStream::truncate(const uint64_t numberOfBytes) {
    flush();
    while (::ftruncate(m_fileDescriptor, static_cast<off_t>(numberOfBytes)) != 0)
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_TRUNCATE, MelnarException::NO_CAUSES, "ftruncate", errno,
                                      "Cannot truncate file '", m_fileName, "'.");
}

void FileOutputStream::synchronize() {
    flush();
    while (::fsync(m_fileDescriptor) != 0)
        if (errno != EINTR) {
            const int errorCode = errno;
            // The system forgets which bytes it could not write, and may report success the next time.
            ::close(std::exchange(m_fileDescriptor, -1));
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE, MelnarException::NO_CAUSES, "fsync",
                                      errorCode, "Cannot write file '", m_fileName, "' to the disk.");
        }
}

void FileOutputStream::close() {
    flush();
    const int fileDescriptor = m_fileDescriptor;
    m_fileDescriptor = -1; // Linux releases the descriptor even if close fails: closing twice could close another file.
    if (::close(fileDescriptor) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_CLOSE, MelnarException::NO_CAUSES, "close", errno,
                                  "Cannot close file '", m_fileName, "'.");
}

void FileOutputStream::writeThrough(const uint8_t* const data, const size_t numberOfBytes) {
    const int errorCode = writeAll(data, numberOfBytes, [this](const uint8_t* const bytes, const size_t size, size_t) {
        return ::write(m_fileDescriptor, bytes, size);
    });
    if (errorCode != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_WRITE, MelnarException::NO_CAUSES, "write", errorCode,
                                  "Cannot write to file '", m_fileName, "'.");
}

/// Writes bytes with a system call: `call(bytes, number, how many have been written)`. Returns 0, or the error code of
/// a failure, after which the file is closed.
template<class Call>
int FileOutputStream::writeAll(const uint8_t* const data, const size_t numberOfBytes, const Call& call) noexcept {
    for (size_t offset = 0; offset != numberOfBytes;) {
        const ssize_t written = call(data + offset, std::min(numberOfBytes - offset, MAXIMUM_BYTES_PER_WRITE), offset);
        if (written >= 0) {
            offset += static_cast<size_t>(written);
            noticeWritten(static_cast<size_t>(written));
        } else if (errno != EINTR) {
            const int errorCode = errno;
            // It is unknown now how much of the buffer has reached the file, so no later write may succeed.
            ::close(std::exchange(m_fileDescriptor, -1));
            return errorCode;
        }
    }
    return 0;
}

/// From time to time, makes the system start writing to the disk, so that synchronize waits for less. Only advice.
void FileOutputStream::noticeWritten(const size_t numberOfBytes) noexcept {
    m_bytesToStart += numberOfBytes;
    if (m_bytesToStart < BYTES_BETWEEN_STARTS)
        return;
#if defined(SYNC_FILE_RANGE_WRITE)
    static_cast<void>(::sync_file_range(m_fileDescriptor, 0, 0, SYNC_FILE_RANGE_WRITE));
#endif
    m_bytesToStart = 0;
}

} // namespace melnar

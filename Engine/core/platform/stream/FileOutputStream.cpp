#include "Engine/core/platform/stream/FileOutputStream.h"

#include "Engine/core/platform/SystemCallException.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/stream/FileOutputStream";
constexpr long LINE_CANNOT_CREATE = 31;
constexpr long LINE_CANNOT_WRITE = 58;
constexpr long LINE_CANNOT_SYNCHRONIZE = 68;
constexpr long LINE_CANNOT_CLOSE = 79;

// Larger requests are cut by the operating system anyway.
constexpr size_t MAXIMUM_BYTES_PER_WRITE = 0x7FFFF000;

constexpr size_t BYTES_BETWEEN_STARTS = size_t(1) << 22;

} // namespace

FileOutputStream::FileOutputStream(const std::string& fileName, const int additionalFlags, const mode_t permissions)
    : m_fileName(fileName), m_buffer(std::make_unique<uint8_t[]>(BUFFER_SIZE)), m_bufferedBytes(0),
      m_fileDescriptor(-1) {
    do {
        m_fileDescriptor =
            ::open(m_fileName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | additionalFlags, permissions);
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
    m_fileDescriptor = -1; // Linux releases the descriptor even when close fails: closing twice could hit another file.
    if (::close(fileDescriptor) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_CLOSE, MelnarException::NO_CAUSES, "close", errno,
                                  "Cannot close file '", m_fileName, "'.");
}

void FileOutputStream::writeThrough(const uint8_t* data, size_t numberOfBytes) {
    while (numberOfBytes != 0) {
        const ssize_t written = ::write(m_fileDescriptor, data, std::min(numberOfBytes, MAXIMUM_BYTES_PER_WRITE));
        if (written >= 0) {
            data += written;
            numberOfBytes -= static_cast<size_t>(written);
            m_bytesToStart += static_cast<size_t>(written);
        } else if (errno != EINTR) {
            const int errorCode = errno;
            // How much of the buffer has reached the file is lost with this failure: no later write may succeed.
            ::close(std::exchange(m_fileDescriptor, -1));
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_WRITE, MelnarException::NO_CAUSES, "write", errorCode,
                                      "Cannot write to file '", m_fileName, "'.");
        }
    }
    if (m_bytesToStart >= BYTES_BETWEEN_STARTS)
        startWritingToDisk();
}

/// Has the system begin to bring to the disk what it was given, so that synchronize waits for less. Only advice.
void FileOutputStream::startWritingToDisk() noexcept {
#if defined(SYNC_FILE_RANGE_WRITE)
    static_cast<void>(::sync_file_range(m_fileDescriptor, 0, 0, SYNC_FILE_RANGE_WRITE));
#endif
    m_bytesToStart = 0;
}

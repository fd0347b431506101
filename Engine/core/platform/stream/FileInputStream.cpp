#include "Engine/core/platform/stream/FileInputStream.h"

#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace melnar {

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/platform/stream/FileInputStream";
constexpr long LINE_CANNOT_OPEN = 27;
constexpr long LINE_CANNOT_READ = 54;

} // namespace

FileInputStream::FileInputStream(const std::string& fileName, const size_t bufferSize)
    : m_fileName(fileName), m_bufferSize(bufferSize), m_buffer(std::make_unique_for_overwrite<uint8_t[]>(bufferSize)),
      m_bufferBegin(0), m_bufferEnd(0), m_fileDescriptor(-1) {
    do {
        m_fileDescriptor = ::open(m_fileName.c_str(), O_RDONLY | O_CLOEXEC);
    } while (m_fileDescriptor == -1 && errno == EINTR);
    if (m_fileDescriptor == -1)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot open file '", m_fileName, "'.");
}

FileInputStream::~FileInputStream() {
    ::close(m_fileDescriptor);
}

size_t FileInputStream::read(void* const data, const size_t numberOfBytes) {
    if (m_bufferBegin == m_bufferEnd) {
        if (numberOfBytes >= m_bufferSize)
            return readThrough(static_cast<uint8_t*>(data), numberOfBytes);
        m_bufferBegin = m_bufferEnd = 0;
        m_bufferEnd = readThrough(m_buffer.get(), m_bufferSize);
    }
    const size_t delivered = std::min(numberOfBytes, m_bufferEnd - m_bufferBegin);
    if (delivered != 0)
        std::memcpy(data, m_buffer.get() + m_bufferBegin, delivered);
    m_bufferBegin += delivered;
    return delivered;
}

size_t FileInputStream::readThrough(uint8_t* const data, const size_t numberOfBytes) {
    for (;;) {
        const ssize_t delivered = ::read(m_fileDescriptor, data, std::min(numberOfBytes, MAXIMUM_BYTES_PER_READ));
        if (delivered >= 0)
            return static_cast<size_t>(delivered);
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_READ, MelnarException::NO_CAUSES, "read", errno,
                                      "Cannot read file '", m_fileName, "'.");
    }
}

} // namespace melnar

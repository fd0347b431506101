#include "tools/melnar-dict/load/SpillFile.h"

#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict/load/SpillFile";
constexpr long LINE_CANNOT_OPEN = 24;
constexpr long LINE_CANNOT_WRITE = 47;
constexpr long LINE_CANNOT_TRUNCATE = 31;
constexpr long LINE_TOO_SHORT = 34;
constexpr long LINE_CANNOT_SYNCHRONIZE = 56;

} // namespace

SpillFile::SpillFile(const std::string& fileName, const uint64_t numberOfBytes)
    : m_fileName(fileName), m_file(::open(fileName.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_APPEND, 0600)),
      m_numberOfBytes(numberOfBytes) {
    if (!m_file.isOpen())
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot create file '", fileName, "'.");
    struct stat status;
    if (::fstat(m_file.get(), &status) != 0 || ::ftruncate(m_file.get(), static_cast<off_t>(numberOfBytes)) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_TRUNCATE, MelnarException::NO_CAUSES, "ftruncate", errno,
                                  "Cannot cut off file '", fileName, "'.");
    if (static_cast<uint64_t>(status.st_size) < numberOfBytes)
        throw MelnarException(SOURCE_FILE, LINE_TOO_SHORT, MelnarException::NO_CAUSES, "File '", fileName, "' has ",
                              static_cast<uint64_t>(status.st_size), " bytes, but should have ", numberOfBytes, ".");
}

void SpillFile::write(const void* const data, const size_t numberOfBytes) {
    m_buffer.append(static_cast<const char*>(data), numberOfBytes);
    m_numberOfBytes += numberOfBytes;
    if (m_buffer.size() >= BUFFER_SIZE)
        flush();
}

void SpillFile::flush() {
    size_t written = 0;
    while (written < m_buffer.size()) {
        const ssize_t result = ::write(m_file.get(), m_buffer.data() + written, m_buffer.size() - written);
        if (result >= 0)
            written += static_cast<size_t>(result);
        else if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_WRITE, MelnarException::NO_CAUSES, "write", errno,
                                      "Cannot write file '", m_fileName, "'.");
    }
    m_buffer.clear();
}

void SpillFile::synchronize() {
    flush();
    while (::fdatasync(m_file.get()) != 0)
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE, MelnarException::NO_CAUSES, "fdatasync",
                                      errno, "Cannot write file '", m_fileName, "' to the disk.");
}

#include "tools/melnar-dict/load/SpillFile.h"

#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict/load/SpillFile";
constexpr long LINE_CANNOT_OPEN = 24;
constexpr long LINE_CANNOT_EXAMINE = 29;
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
    if (::fstat(m_file.get(), &status) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_EXAMINE, MelnarException::NO_CAUSES, "fstat", errno,
                                  "Cannot examine file '", fileName, "'.");
    if (static_cast<uint64_t>(status.st_size) < numberOfBytes) // which a truncation would fill with zeros
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_TOO_SHORT, MelnarException::NO_CAUSES,
                              "File '", fileName, "' has ", static_cast<uint64_t>(status.st_size),
                              " bytes, but should have ", numberOfBytes, ".");
    if (::ftruncate(m_file.get(), static_cast<off_t>(numberOfBytes)) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_TRUNCATE, MelnarException::NO_CAUSES, "ftruncate", errno,
                                  "Cannot cut off file '", fileName, "'.");
}

void SpillFile::write(const void* const data, const size_t numberOfBytes) {
    m_numberOfBytes += numberOfBytes;
    const char* const bytes = static_cast<const char*>(data);
    if (numberOfBytes > BUFFER_SIZE - m_buffer.size())
        flush();
    if (numberOfBytes > BUFFER_SIZE) {
        writeThrough(bytes, numberOfBytes);
        return;
    }
    m_buffer.reserve(BUFFER_SIZE); // A string that grows may take twice as much.
    m_buffer.append(bytes, numberOfBytes);
}

void SpillFile::flush() {
    writeThrough(m_buffer.data(), m_buffer.size());
    m_buffer.clear();
}

void SpillFile::writeThrough(const char* const bytes, const size_t numberOfBytes) {
    size_t written = 0;
    while (written < numberOfBytes) {
        const ssize_t result = ::write(m_file.get(), bytes + written, numberOfBytes - written);
        if (result >= 0)
            written += static_cast<size_t>(result);
        else if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_WRITE, MelnarException::NO_CAUSES, "write", errno,
                                      "Cannot write file '", m_fileName, "'.");
    }
}

void SpillFile::synchronize() {
    flush();
    while (::fdatasync(m_file.get()) != 0)
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE, MelnarException::NO_CAUSES, "fdatasync",
                                      errno, "Cannot write file '", m_fileName, "' to the disk.");
}

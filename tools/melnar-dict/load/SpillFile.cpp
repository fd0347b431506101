#include "tools/melnar-dict/load/SpillFile.h"

#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/FileInputStream.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict/load/SpillFile";
constexpr long LINE_CANNOT_OPEN = 24;
constexpr long LINE_CANNOT_WRITE = 47;
constexpr long LINE_CANNOT_TRUNCATE = 31;
constexpr long LINE_TOO_SHORT = 34;
constexpr long LINE_MISSING = 37;
constexpr long LINE_DAMAGED = 40;
constexpr long LINE_CANNOT_SYNCHRONIZE = 56;

} // namespace

SpillFile::SpillFile(const std::string& fileName, const SpillPrefix& prefix)
    : m_fileName(fileName), m_numberOfBytes(prefix.m_numberOfBytes) {
    read(fileName, prefix, m_checksum);
    m_file = FileDescriptor(::open(fileName.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_APPEND, 0600));
    if (!m_file.isOpen())
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot create file '", fileName, "'.");
    if (::ftruncate(m_file.get(), static_cast<off_t>(prefix.m_numberOfBytes)) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_TRUNCATE, MelnarException::NO_CAUSES, "ftruncate", errno,
                                  "Cannot cut off file '", fileName, "'.");
}

void SpillFile::verify(const std::string& fileName, const SpillPrefix& prefix) {
    Checksum checksum;
    read(fileName, prefix, checksum);
}

/// Adds the bytes of the prefix to the checksum, and compares it.
void SpillFile::read(const std::string& fileName, const SpillPrefix& prefix, Checksum& checksum) {
    if (prefix.m_numberOfBytes == 0)
        return;
    if (::access(fileName.c_str(), F_OK) != 0 && errno == ENOENT)
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_MISSING, MelnarException::NO_CAUSES,
                              "File '", fileName, "' is missing.");
    FileInputStream input(fileName);
    std::string part(FileInputStream::BUFFER_SIZE, '\0');
    for (uint64_t remaining = prefix.m_numberOfBytes; remaining != 0;) {
        const size_t delivered = input.read(part.data(), std::min<uint64_t>(remaining, part.size()));
        if (delivered == 0)
            throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_TOO_SHORT, MelnarException::NO_CAUSES,
                                  "File '", fileName, "' has ", prefix.m_numberOfBytes - remaining,
                                  " bytes, but should have ", prefix.m_numberOfBytes, ".");
        checksum.update(part.data(), delivered);
        remaining -= delivered;
    }
    if (checksum.getValue() != prefix.m_checksum)
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_DAMAGED, MelnarException::NO_CAUSES,
                              "File '", fileName, "' is damaged: its first ", prefix.m_numberOfBytes,
                              " bytes do not have the checksum that they were written with.");
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
    m_checksum.update(bytes, numberOfBytes);
}

SpillPrefix SpillFile::synchronize() {
    flush();
    while (::fdatasync(m_file.get()) != 0)
        if (errno != EINTR)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_SYNCHRONIZE, MelnarException::NO_CAUSES, "fdatasync",
                                      errno, "Cannot write file '", m_fileName, "' to the disk.");
    return {m_numberOfBytes, m_checksum.getValue()};
}

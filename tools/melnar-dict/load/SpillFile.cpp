#include "tools/melnar-dict/load/SpillFile.h"

#include "Engine/core/platform/SystemCallException.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr const char* const SOURCE_FILE = "tools/melnar-dict/load/SpillFile";
constexpr long LINE_CANNOT_OPEN = 24;
constexpr long LINE_CANNOT_WRITE = 47;

} // namespace

SpillFile::SpillFile(const std::string& fileName)
    : m_fileName(fileName), m_file(::open(fileName.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {
    if (!m_file.isOpen())
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_OPEN, MelnarException::NO_CAUSES, "open", errno,
                                  "Cannot create file '", fileName, "'.");
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

#include "tools/melnar-dict/input/FileSource.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace {

[[noreturn]] void failWith(const int errorCode) {
    throw ToolFailure(ExitCode::FAILURE, std::generic_category().message(errorCode));
}

} // namespace

FileSource::FileSource(const std::string& fileName)
    : m_fileDescriptor(fileName == "-" ? STDIN_FILENO : ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (m_fileDescriptor < 0)
        failWith(errno);
}

FileSource::~FileSource() {
    if (m_fileDescriptor != STDIN_FILENO)
        ::close(m_fileDescriptor);
}

size_t FileSource::read(char* const buffer, const size_t size) {
    for (;;) {
        const ssize_t numberOfBytes = ::read(m_fileDescriptor, buffer, size);
        if (numberOfBytes >= 0)
            return static_cast<size_t>(numberOfBytes);
        if (errno != EINTR)
            failWith(errno);
    }
}

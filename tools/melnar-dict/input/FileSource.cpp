#include "tools/melnar-dict/input/FileSource.h"

#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int MILLISECONDS_BETWEEN_LOOKS = 100;

[[noreturn]] void failWith(const int errorCode) {
    throw ToolFailure(ExitCode::FAILURE, std::generic_category().message(errorCode));
}

} // namespace

FileSource::FileSource(const std::string& fileName, std::stop_token stop, std::atomic<uint64_t>* const bytesRead)
    : m_stop(std::move(stop)),
      m_fileDescriptor(fileName == STANDARD_STREAM ? STDIN_FILENO : ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC)),
      m_bytesRead(bytesRead) {
    if (m_fileDescriptor < 0)
        failWith(errno);
}

FileSource::~FileSource() {
    if (m_fileDescriptor != STDIN_FILENO)
        ::close(m_fileDescriptor);
}

size_t FileSource::read(char* const buffer, const size_t size) {
    for (;;) {
        if (m_stop.stop_possible())
            waitForBytes();
        const ssize_t numberOfBytes = ::read(m_fileDescriptor, buffer, size);
        if (numberOfBytes >= 0) {
            if (m_bytesRead != nullptr)
                m_bytesRead->fetch_add(static_cast<uint64_t>(numberOfBytes), std::memory_order_relaxed);
            return static_cast<size_t>(numberOfBytes);
        }
        if (errno != EINTR)
            failWith(errno);
    }
}

void FileSource::seek(const uint64_t offset) {
    if (::lseek(m_fileDescriptor, static_cast<off_t>(offset), SEEK_SET) < 0)
        failWith(errno);
}

/// Returns when a read would not wait, because of bytes, the end or an error.
void FileSource::waitForBytes() const {
    pollfd descriptor{m_fileDescriptor, POLLIN, 0};
    for (;;) {
        if (m_stop.stop_requested())
            failWith(ECANCELED);
        const int result = ::poll(&descriptor, 1, MILLISECONDS_BETWEEN_LOOKS);
        if (result > 0 || (result < 0 && errno != EINTR))
            return;
    }
}

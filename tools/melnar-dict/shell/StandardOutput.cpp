#include "tools/melnar-dict/shell/StandardOutput.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace {

constexpr size_t BUFFER_SIZE = 64 * 1024;

} // namespace

void StandardOutput::write(const std::string_view text) {
    m_buffer.append(text);
    if (m_buffer.size() >= BUFFER_SIZE)
        flush();
}

void StandardOutput::flush() {
    std::string_view remaining = m_buffer;
    while (!remaining.empty()) {
        const ssize_t numberOfBytes = ::write(m_fileDescriptor, remaining.data(), remaining.size());
        if (numberOfBytes >= 0)
            remaining.remove_prefix(static_cast<size_t>(numberOfBytes));
        else if (errno != EINTR) {
            const int errorCode = errno;
            m_buffer.clear(); // a part of it may have been written, and must not be written again
            throw ToolFailure(ExitCode::FAILURE, "standard output: " + std::generic_category().message(errorCode));
        }
    }
    m_buffer.clear();
}

void StandardOutput::flushAfterFailure() noexcept {
    try {
        flush();
    } catch (const ToolFailure&) { // NOLINT(bugprone-empty-catch): see above
    }
}

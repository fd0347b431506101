#include "tools/melnar-dict/shell/StandardDescriptors.h"

#include "tools/melnar-dict/shell/ExitCode.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

void occupyStandardDescriptors() noexcept {
    // In ascending order, as an opened file gets the lowest free number.
    for (int fileDescriptor = STDIN_FILENO; fileDescriptor <= STDERR_FILENO; ++fileDescriptor) {
        const int failingAccess = fileDescriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::fcntl(fileDescriptor, F_GETFD) == -1 && errno == EBADF &&
            ::open("/dev/null", failingAccess) != fileDescriptor)
            ::_exit(static_cast<int>(ExitCode::FAILURE));
    }
}

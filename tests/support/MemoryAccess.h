#pragma once

#include <array>
#include <cerrno>
#include <stdexcept>
#include <unistd.h>

/// Returns whether the byte at `address` can be read, without reading it: the operating system tries, and reports a
/// fault as an error instead of a signal.
inline bool isReadable(const void* const address) {
    std::array<int, 2> fileDescriptors;
    if (::pipe(fileDescriptors.data()) != 0)
        throw std::runtime_error("No pipe to be had.");
    const ssize_t written = ::write(fileDescriptors[1], address, 1);
    const int errorCode = errno;
    ::close(fileDescriptors[0]);
    ::close(fileDescriptors[1]);
    if (written == 1)
        return true;
    if (errorCode != EFAULT)
        throw std::runtime_error("The pipe failed.");
    return false;
}

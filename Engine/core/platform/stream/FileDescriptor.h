#pragma once

#include <utility>

#include <unistd.h>

namespace melnar {

/// An open file descriptor, or none.
///
/// Ownership  Closes the file and ignores failures to close. Where these matter, as after writing, the owner must close
///            it.
class FileDescriptor {
public:
    explicit FileDescriptor(const int fileDescriptor = -1) noexcept : m_fileDescriptor(fileDescriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_fileDescriptor(std::exchange(other.m_fileDescriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_fileDescriptor, other.m_fileDescriptor);
        return *this;
    }

    ~FileDescriptor() {
        if (isOpen())
            ::close(m_fileDescriptor);
    }

    bool isOpen() const noexcept { return m_fileDescriptor != -1; }
    int get() const noexcept { return m_fileDescriptor; }

private:
    int m_fileDescriptor;
};

} // namespace melnar

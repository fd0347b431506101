#pragma once

#include <optional>
#include <string>

#include <sys/stat.h>

/// Identifies a file independently of its names: two names of one file, through links of either kind, have one
/// identity.
struct FileIdentity {
    dev_t m_device;
    ino_t m_number;

    bool operator==(const FileIdentity&) const noexcept = default;

    /// Returns nothing if the file does not exist or cannot be examined.
    static std::optional<FileIdentity> ofName(const std::string& fileName) {
        struct stat status;
        return ::stat(fileName.c_str(), &status) == 0 ? std::optional(ofStatus(status)) : std::nullopt;
    }

    /// Returns nothing unless it is a regular file: a terminal or a device can be both read and written.
    static std::optional<FileIdentity> ofRegularFile(const int fileDescriptor) {
        struct stat status;
        return ::fstat(fileDescriptor, &status) == 0 && S_ISREG(status.st_mode) ? std::optional(ofStatus(status))
                                                                                : std::nullopt;
    }

private:
    static FileIdentity ofStatus(const struct stat& status) noexcept { return {status.st_dev, status.st_ino}; }
};

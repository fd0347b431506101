#pragma once

#include "Engine/core/platform/Export.h"

#include <string>

#include <sys/stat.h>

namespace melnar {

/// The regular file, existing or not, that a name leads to and that writing to the name replaces.
///
/// The constructor follows symbolic links once, those of the file and of its folder, also if the file does not exist
/// yet. Two names that lead to the same place have targets with the same name. Hard links do not, since replacing one
/// leaves the other.
///
/// Threads  Immutable after construction.
/// Errors   SystemCallException that names the file and the call; MelnarException if there is something other than a
///          regular file: a folder, a device, a pipe or a socket, which a rename would replace by a file.
class MELNAR_EXPORT TargetFile {
public:
    explicit TargetFile(const std::string& fileName);

    /// Returns the name of the file after links were followed.
    const std::string& getName() const noexcept { return m_name; }

    /// Returns the name of the folder that the file is or will be in.
    std::string getFolderName() const;

    /// Returns whether the file exists now, and sets its status.
    bool examine(struct stat& status) const;

private:
    std::string m_name;
};

} // namespace melnar

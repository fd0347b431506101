#pragma once

#include "Engine/core/platform/Export.h"

#include <string>

#include <sys/stat.h>

namespace melnar {

/// The regular file, there or not yet, that a name leads to: what is written to the name replaces it.
///
/// Symbolic links are followed once, by the constructor, to the file and of its folder, also to where no file is yet.
/// Two names that lead to one place have targets of one name; hard links have not, since replacing one leaves the other.
///
/// Threads  Immutable after construction.
/// Errors   SystemCallException that names the file and the call; MelnarException when what is there is no regular file,
///          but a folder, a device, a pipe or a socket, in whose place a rename would put a file.
class MELNAR_EXPORT TargetFile {
public:
    explicit TargetFile(const std::string& fileName);

    /// The file's own name, links followed.
    const std::string& getName() const noexcept { return m_name; }

    /// The name of the folder that the file is or will be in.
    std::string getFolderName() const;

    /// Tells whether the file is there now, and what it is.
    bool examine(struct stat& status) const;

private:
    std::string m_name;
};

} // namespace melnar

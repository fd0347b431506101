#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <dirent.h>
#include <string>

namespace melnar {

/// The names in a folder, one after the other. The standard library's directory iterators end the program if there is
/// no memory.
///
/// Ownership  Keeps the folder open.
/// Threads    One at a time.
/// Errors     None: a folder that cannot be read has no names.
class FolderNames : private Unmovable {
public:
    explicit FolderNames(const std::string& folderName) noexcept : m_folder(::opendir(folderName.c_str())) {}

    ~FolderNames() {
        if (m_folder != nullptr)
            ::closedir(m_folder);
    }

    /// Returns the next name, or null if there is none. "." and ".." are among the names. The name is valid until the
    /// next call.
    const char* readName() const noexcept {
        if (m_folder == nullptr)
            return nullptr;
        const dirent* const entry = ::readdir(m_folder); // NOLINT(concurrency-mt-unsafe): the stream is not shared
        return entry == nullptr ? nullptr : static_cast<const char*>(entry->d_name);
    }

private:
    DIR* const m_folder;
};

} // namespace melnar

#include "tests/support/FolderContents.h"

#include "tests/support/TemporaryDirectory.h"

#include <filesystem>

std::map<std::string, std::string> getContentsOfFolder(const std::string& path) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path))
        files[entry.path().lexically_relative(path)] =
            entry.is_regular_file() ? TemporaryDirectory::getContentsOf(entry.path()) : "";
    return files;
}

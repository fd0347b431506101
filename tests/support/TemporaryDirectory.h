#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

/// A directory for one test, which is removed with all its contents.
class TemporaryDirectory : private Unmovable {
public:
    TemporaryDirectory() : m_path((std::filesystem::temp_directory_path() / "melnar-test-XXXXXX").string()) {
        if (::mkdtemp(m_path.data()) == nullptr)
            throw std::runtime_error("No temporary directory to be had.");
    }

    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    std::string getPathOf(const std::string& fileName) const { return m_path + "/" + fileName; }

    /// Makes a file and returns its path.
    std::string addFile(const std::string& fileName, const std::string& contents) const {
        std::ofstream(getPathOf(fileName), std::ios::binary) << contents;
        return getPathOf(fileName);
    }

    static std::string getContentsOf(const std::string& path) {
        std::string contents(std::filesystem::file_size(path), '\0');
        std::ifstream(path, std::ios::binary).read(contents.data(), static_cast<std::streamsize>(contents.size()));
        return contents;
    }

private:
    std::string m_path;
};

#include "tools/melnar-dict/input/InputNames.h"

#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace {

using Files = std::vector<std::pair<std::string, RdfFormat>>;

bool isHidden(const std::filesystem::path& path) {
    return path.filename().native().starts_with('.');
}

/// Returns whether it can be an input file. A broken link is one, so that it is reported and not skipped.
bool mayBeFile(const std::filesystem::directory_entry& entry) {
    std::error_code ignored;
    const std::filesystem::file_type type = entry.status(ignored).type();
    return type == std::filesystem::file_type::regular || type == std::filesystem::file_type::not_found;
}

Files listFolder(const std::string& folderName, const std::optional<RdfFormat> format) {
    Files files;
    std::error_code error;
    std::filesystem::recursive_directory_iterator entry(folderName, error);
    for (; !error && entry != std::filesystem::recursive_directory_iterator(); entry.increment(error))
        if (isHidden(entry->path()))
            entry.disable_recursion_pending();
        else if (mayBeFile(*entry))
            if (const std::optional<RdfFormat> fileFormat = format ? format : formatOfFile(entry->path().native()))
                files.emplace_back(entry->path(), *fileFormat);
    if (error)
        throw ToolFailure(ExitCode::FAILURE, "the folder '" + folderName + "' cannot be read: " + error.message());
    std::sort(files.begin(), files.end());
    return files;
}

Files expandFolder(const std::string& folderName, const std::optional<RdfFormat> format) {
    Files files = listFolder(folderName, format);
    if (files.empty())
        throw ToolFailure(ExitCode::USAGE, "the folder '" + folderName + "' has no file " +
                                               (format ? "to read" : "whose name indicates a format"));
    return files;
}

bool isFolder(const std::string& name) {
    std::error_code ignored;
    return name != STANDARD_STREAM && std::filesystem::is_directory(name, ignored);
}

} // namespace

Files expandInputNames(const std::vector<std::pair<std::string, std::optional<RdfFormat>>>& names) {
    Files files;
    for (const auto& [name, givenFormat] : names) {
        if (isFolder(name)) {
            Files found = expandFolder(name, givenFormat);
            std::move(found.begin(), found.end(), std::back_inserter(files));
            continue;
        }
        const std::optional<RdfFormat> format = givenFormat ? givenFormat : formatOfFile(name);
        if (!format)
            throw ToolFailure(ExitCode::USAGE,
                              name == STANDARD_STREAM
                                  ? "standard input needs --format"
                                  : "the name '" + name + "' does not indicate a format; give it with --format");
        files.emplace_back(name, *format);
    }
    return files;
}

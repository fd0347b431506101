#include "tools/melnar-dict/load/ShardedFolder.h"

#include "tools/melnar-dict/load/LoadCheckpoint.h"
#include "tools/melnar-dict/load/LoadOutputs.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/stream/FolderNames.h"

#include <filesystem>
#include <system_error>

#include <unistd.h>

namespace fs = std::filesystem;
using namespace melnar;

namespace {

/// Returns the name without a slash at its end.
std::string removeSlashes(std::string name) {
    while (name.size() > 1 && name.ends_with('/'))
        name.pop_back();
    return name;
}

/// Returns whether a folder without a dictionary has files other than those of a killed, unfinished load.
bool hasOtherFiles(const std::string& folderName) {
    const std::string manifest = ShardManifest::FILE_NAME;
    const FolderNames names(folderName);
    while (const char* const entry = names.readName())
        if (const std::string name = entry; name != "." && name != ".." && !name.starts_with(manifest + '.') &&
                                            !ShardManifest::isNameOfShard(name) && !LoadCheckpoint::isNameOfFile(name))
            return true;
    return false;
}

} // namespace

ShardedFolder::ShardedFolder(const LoadOptions& options)
    : m_options(options), m_name(removeSlashes(options.m_output.m_outputName)) {
    check();
    std::error_code error;
    m_isMade = fs::create_directory(m_name, error);
    if (error)
        throw ToolFailure(ExitCode::FAILURE, "cannot create the folder '" + m_name + "': " + error.message());
}

ShardedFolder::~ShardedFolder() {
    if (m_isMade)
        ::rmdir(m_name.c_str()); // fails unless it is empty; unlike fs::remove, it needs no memory
}

std::string ShardedFolder::getManifestName() const {
    return m_name + '/' + ShardManifest::FILE_NAME;
}

void ShardedFolder::check() const {
    std::error_code error;
    const fs::file_status status = fs::status(m_name, error);
    if (!fs::exists(status))
        return;
    if (!fs::is_directory(status))
        throw ToolFailure(ExitCode::USAGE,
                          "'" + m_name + "' exists and is not a folder; a dictionary of shards is a folder");
    if (!OutputCheck::isDictionaryFolder(m_name) && !m_options.m_output.m_isForced && hasOtherFiles(m_name))
        throw ToolFailure(ExitCode::USAGE,
                          "the folder '" + m_name + "' is not empty and has no dictionary; --force adds one to it");
    for (const auto& [fileName, format] : m_options.m_files)
        if (fileName != STANDARD_STREAM && isInFolder(fileName, m_name))
            throw ToolFailure(ExitCode::USAGE, "the input '" + fileName + "' is in the folder of the dictionary");
}

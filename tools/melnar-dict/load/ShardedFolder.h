#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"

#include "Engine/core/platform/Unmovable.h"

#include <string>

/// The folder that a load saves its shards to. It is created if it does not exist, and removed again if nothing has
/// been saved to it.
///
/// Ownership  Refers to the options.
/// Errors     ToolFailure with ExitCode::USAGE for a folder whose contents are not a dictionary, and for an input
///            within the folder.
class ShardedFolder : private Unmovable {
public:
    /// Checks the folder, and creates it.
    explicit ShardedFolder(const LoadOptions& options);
    ~ShardedFolder();

    const std::string& getName() const noexcept { return m_name; }
    std::string getManifestName() const;

    /// Checks it again.
    void check() const;

private:
    const LoadOptions& m_options;
    const std::string m_name;
    bool m_isMade = false; // by this
};

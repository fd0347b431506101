#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <ostream>
#include <string>

/// What the command line of `shards` asks for.
struct ShardsOptions {
    std::string m_folderName;
    bool m_asksForJson = false;
};

/// The command line of `shards`, bound to the options.
VerbDescription describeShards(ShardsOptions& options);

/// The verb `shards`: describes a folder of shards by its manifest alone.
ExitCode runShards(const ShardsOptions& options, StandardOutput& output, std::ostream& errorOutput);

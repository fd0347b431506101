#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <ostream>
#include <string>

/// The options of `shards`.
struct ShardsOptions {
    std::string m_folderName;
    bool m_asksForJson = false;
};

/// The command line of `shards`, bound to the options.
VerbDescription describeShards(ShardsOptions& options);

/// The verb `shards`: describes a folder of shards; reads only its manifest.
ExitCode runShards(const ShardsOptions& options, StandardOutput& output, std::ostream& errorOutput);

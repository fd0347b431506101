#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `load` with a folder of shards as the dictionary; otherwise like runLoad.
ExitCode runShardedLoad(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput);

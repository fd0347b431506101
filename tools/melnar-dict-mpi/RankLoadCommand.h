#pragma once

#include "tools/melnar-dict-mpi/RankLoadOptions.h"
#include "tools/melnar-dict-mpi/Ranks.h"

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `load` of several processes. Throws RankEnd on all ranks if one has failed.
ExitCode runRankLoad(const RankLoadOptions& options, const Ranks& ranks, StandardOutput& output,
                     std::ostream& errorOutput);

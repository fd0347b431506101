#pragma once

#include "tools/melnar-dict-mpi/RankEncodeOptions.h"
#include "tools/melnar-dict-mpi/Ranks.h"

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `encode` of several processes. Throws RankEnd on all ranks if one has failed.
ExitCode runRankEncode(const RankEncodeOptions& options, const Ranks& ranks, StandardOutput& output,
                       std::ostream& errorOutput);

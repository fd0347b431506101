#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

/// The options of a rank's `load`.
struct RankLoadOptions {
    LoadOptions m_load; // with one thread, and m_files as named
    bool m_areInputsOfRanks = false;
    bool m_isResuming = false;
    bool m_tellsTraffic = false;
};

/// The command line, bound to the options. The memory limit is that of a rank, by default a share of the machine's.
VerbDescription describeRankLoad(RankLoadOptions& options);

#pragma once

#include "tools/melnar-dict/rewrite/RewriteOptions.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

/// The options of a rank's `encode`.
struct RankEncodeOptions {
    RewriteOptions m_encode; // with one thread, and m_files as named
    bool m_areInputsOfRanks = false;
};

/// The command line, bound to the options. The memory limit is that of a rank, by default a share of the machine's.
VerbDescription describeRankEncode(RankEncodeOptions& options);

#pragma once

#include "tools/melnar-dict-mpi/Ranks.h"

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <functional>
#include <ostream>
#include <vector>

/// A verb of ranks: the description of its command line, and the function that does its work.
struct RankVerb {
    VerbDescription m_description;
    std::function<ExitCode(const Ranks& ranks, StandardOutput& output, std::ostream& errorOutput)> m_run;
};

/// Returns all verbs, in the order in which they are listed, each with its own options.
std::vector<RankVerb> makeRankVerbs();

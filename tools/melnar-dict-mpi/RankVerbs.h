#pragma once

#include "tools/melnar-dict-mpi/Ranks.h"

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <functional>
#include <ostream>
#include <vector>

/// What ranks can do together: how a verb's command line looks, and what does its work.
struct RankVerb {
    VerbDescription m_description;
    std::function<ExitCode(const Ranks& ranks, StandardOutput& output, std::ostream& errorOutput)> m_run;
};

/// Returns all verbs, in the order in which they are listed, each with options of its own.
std::vector<RankVerb> makeRankVerbs();

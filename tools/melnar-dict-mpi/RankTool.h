#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"

/// The command line program for several processes, melnar-dict-mpi, in one of them. Errors are reported with the name
/// of the rank.
ExitCode runRankTool(int argumentCount, char** arguments);

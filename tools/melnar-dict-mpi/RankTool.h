#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"

/// The command line program of several processes, melnar-dict-mpi, as one of them runs it. What goes wrong is told with the
/// name of the rank.
ExitCode runRankTool(int argumentCount, char** arguments);

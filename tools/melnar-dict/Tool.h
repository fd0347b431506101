#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"

#include <string>
#include <vector>

/// The tool itself: finds the verb among the arguments, which do not start with the program's name, runs it and reports
/// errors on standard error.
ExitCode runTool(const std::vector<std::string>& arguments);

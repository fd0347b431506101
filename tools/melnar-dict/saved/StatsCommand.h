#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The verb `stats`: describes a saved dictionary.
ExitCode runStats(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

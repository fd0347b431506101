#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The verb `compact`: makes the resource IDs of a saved dictionary dense again, and its file as small as it can be.
ExitCode runCompact(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The verb `get`: prints the literals of resource IDs of a saved dictionary.
ExitCode runGet(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

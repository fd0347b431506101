#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The verb `lookup`: prints the resource IDs that literals have in a saved dictionary.
ExitCode runLookup(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

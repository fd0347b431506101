#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The verb `dump`: prints every resource of a saved dictionary.
ExitCode runDump(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The verb `verify`: checks everything that can be checked of a saved dictionary.
ExitCode runVerify(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The verb `load`: see LoadOptions::getHelp.
///
/// Errors  What is wrong with the files goes to `errorOutput`, all else comes out as an exception.
ExitCode runLoad(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

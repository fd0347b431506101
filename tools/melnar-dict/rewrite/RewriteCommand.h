#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The verb `encode`: puts resource IDs in the place of the string literals of N-Triples and N-Quads.
ExitCode runEncode(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

/// The verb `decode`: puts the literals back.
ExitCode runDecode(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);

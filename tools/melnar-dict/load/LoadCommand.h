#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `load`: gives the string literals of RDF files resource IDs.
///
/// Errors  What is wrong with the files goes to `errorOutput`, all else comes out as an exception.
ExitCode runLoad(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput);

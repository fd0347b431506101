#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `load`: gives the terms of RDF files resource IDs, and writes statements as rows of them.
///
/// Errors  What is wrong with the files goes to `errorOutput`, all else comes out as an exception.
ExitCode runLoad(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput);

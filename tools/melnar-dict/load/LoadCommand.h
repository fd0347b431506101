#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `load`: gives the terms of RDF files resource IDs, and writes statements as rows of them.
///
/// Errors  Errors of the files go to `errorOutput`, all others are thrown.
ExitCode runLoad(const LoadOptions& options, StandardOutput& output, std::ostream& errorOutput);

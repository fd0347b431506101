#pragma once

#include "tools/melnar-dict/rewrite/RewriteOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `encode`: puts resource IDs in the place of the string literals of N-Triples and N-Quads.
ExitCode runEncode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput);

/// The verb `decode`: puts the literals back.
ExitCode runDecode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput);

#pragma once

#include "tools/melnar-dict/rewrite/RewriteOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `encode`: writes rows of resource IDs for statements, or puts IDs in the place of their string literals.
ExitCode runEncode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput);

/// The verb `decode`: does the reverse.
ExitCode runDecode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput);

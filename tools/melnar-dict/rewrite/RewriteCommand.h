#pragma once

#include "tools/melnar-dict/rewrite/RewriteOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The verb `encode`: writes rows of resource IDs for statements, or replaces their string literals by IDs.
ExitCode runEncode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput);

/// The verb `decode`: does the reverse.
ExitCode runDecode(const RewriteOptions& options, StandardOutput& output, std::ostream& errorOutput);

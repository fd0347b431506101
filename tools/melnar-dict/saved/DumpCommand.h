#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The options of `dump`.
struct DumpOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
};

/// The command line of `dump`, bound to the options.
VerbDescription describeDump(DumpOptions& options);

/// The verb `dump`: prints every resource of a saved dictionary.
ExitCode runDump(const DumpOptions& options, StandardOutput& output, std::ostream& errorOutput);

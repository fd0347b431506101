#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// What the command line of `stats` asks for.
struct StatsOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
};

/// The command line of `stats`, bound to the options.
VerbDescription describeStats(StatsOptions& options);

/// The verb `stats`: describes a saved dictionary.
ExitCode runStats(const StatsOptions& options, StandardOutput& output, std::ostream& errorOutput);

#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The options of `stats`.
struct StatsOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
    OutputOptions m_page; // without a name, there is none
};

/// The command line of `stats`, bound to the options.
VerbDescription describeStats(StatsOptions& options);

/// The verb `stats`: describes a saved dictionary in text, in JSON or on an HTML page.
ExitCode runStats(const StatsOptions& options, StandardOutput& output, std::ostream& errorOutput);

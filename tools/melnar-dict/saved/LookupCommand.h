#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>
#include <string>
#include <vector>

/// The options of `lookup`.
struct LookupOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
    std::vector<std::string> m_terms; // as given; "-" stands for the lines of standard input
};

/// The command line of `lookup`, bound to the options.
VerbDescription describeLookup(LookupOptions& options);

/// The verb `lookup`: prints the resource IDs of terms in a saved dictionary.
ExitCode runLookup(const LookupOptions& options, StandardOutput& output, std::ostream& errorOutput);

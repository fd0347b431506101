#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The options of `compact`.
struct CompactOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
    FeedbackOptions m_feedback;
    OutputOptions m_output; // without a name, the dictionary is saved in place
};

/// The command line of `compact`, bound to the options.
VerbDescription describeCompact(CompactOptions& options);

/// The verb `compact`: makes the resource IDs of a saved dictionary dense again, and its file as small as possible.
ExitCode runCompact(const CompactOptions& options, StandardOutput& output, std::ostream& errorOutput);

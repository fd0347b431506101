#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// The options of `verify`.
struct VerifyOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
    FeedbackOptions m_feedback;
};

/// The command line of `verify`, bound to the options.
VerbDescription describeVerify(VerifyOptions& options);

/// The verb `verify`: performs all checks of a saved dictionary.
ExitCode runVerify(const VerifyOptions& options, StandardOutput& output, std::ostream& errorOutput);

#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <ostream>

/// What the command line of `verify` asks for.
struct VerifyOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
    FeedbackOptions m_feedback;
};

/// The command line of `verify`, bound to the options.
VerbDescription describeVerify(VerifyOptions& options);

/// The verb `verify`: checks everything that can be checked of a saved dictionary.
ExitCode runVerify(const VerifyOptions& options, StandardOutput& output, std::ostream& errorOutput);

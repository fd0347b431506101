#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/pieces/BlankNodeOptions.h"
#include "tools/melnar-dict/shell/DefaultNumberOfThreads.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/threads/FilePass.h"

#include <ostream>

/// The options of `canonical`.
struct CanonicalOptions {
    InputFiles m_files;
    BlankNodeOptions m_blankNodes{};
    FeedbackOptions m_feedback{};
    OutputOptions m_output; // the name is "-" for standard output
    FilePass::Settings m_reading{getDefaultNumberOfThreads()};
};

/// The command line of `canonical`, bound to the options.
VerbDescription describeCanonical(CanonicalOptions& options);

/// The verb `canonical`: writes statements of any syntax in the canonical form of N-Triples and N-Quads.
ExitCode runCanonical(const CanonicalOptions& options, StandardOutput& output, std::ostream& errorOutput);

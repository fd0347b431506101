#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/shell/DefaultNumberOfThreads.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/threads/FilePass.h"

#include <ostream>

/// The options of `check`.
struct CheckOptions {
    InputFiles m_files;
    FeedbackOptions m_feedback{};
    FilePass::Settings m_reading{getDefaultNumberOfThreads()};
    bool m_asksForJson = false;
};

/// The command line of `check`, bound to the options.
VerbDescription describeCheck(CheckOptions& options);

/// The verb `check`: only checks the syntax of files.
ExitCode runCheck(const CheckOptions& options, StandardOutput& output, std::ostream& errorOutput);

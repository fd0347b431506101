#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/pieces/BlankNodeOptions.h"
#include "tools/melnar-dict/shell/DefaultNumberOfThreads.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/MemoryLimit.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <cstddef>
#include <cstdint>
#include <ostream>

/// The options of `estimate`.
struct EstimateOptions {
    InputFiles m_files;
    bool m_loadsOnlyStrings = false;
    bool m_makesShards = false;
    BlankNodeOptions m_blankNodes;
    FeedbackOptions m_feedback;
    size_t m_numberOfThreads = getDefaultNumberOfThreads(); // of the load
    uint64_t m_memoryLimit = MemoryLimit::getDefault();     // of the estimate itself
    bool m_asksForJson = false;
};

/// The command line of `estimate`, bound to the options.
VerbDescription describeEstimate(EstimateOptions& options);

/// The verb `estimate`: estimates the memory, disk space and time of a load.
ExitCode runEstimate(const EstimateOptions& options, StandardOutput& output, std::ostream& errorOutput);

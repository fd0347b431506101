#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/shell/DefaultNumberOfThreads.h"
#include "tools/melnar-dict/shell/MemoryLimit.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// What the command line of `encode` or `decode` asks for.
struct RewriteOptions {
    InputFiles m_files;
    std::string m_dictionaryName;
    FeedbackOptions m_feedback;
    OutputOptions m_output; // the name is "-" for standard output
    size_t m_numberOfThreads = getDefaultNumberOfThreads();
    uint64_t m_memoryLimit = MemoryLimit::getDefault();
    uint64_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
    Rdf::Version m_version = Rdf::Version::RDF_1_2;
};

/// The command lines of `encode` and `decode`, bound to the options.
VerbDescription describeEncode(RewriteOptions& options);
VerbDescription describeDecode(RewriteOptions& options);

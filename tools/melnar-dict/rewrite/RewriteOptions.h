#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// What the command line of `encode` or `decode` asks for.
struct RewriteOptions {
    std::vector<std::pair<std::string, RdfFormat>> m_files; // empty only when help is asked for
    std::string m_dictionaryName;
    std::string m_outputName; // "-" for standard output
    size_t m_numberOfThreads = 1;
    uint64_t m_memoryLimit = 0;
    uint64_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
    bool m_asksForHelp = false;
    bool m_waits = false;    // for another process that writes the output
    bool m_isForced = false; // replaces a dictionary

    /// A wrong command line is a ToolFailure with ExitCode::USAGE. `verb` is named in messages.
    static RewriteOptions parse(const std::string& verb, std::vector<std::string> arguments);
};

#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/saved/Lookup.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// What the command line of `load` asks for.
struct LoadOptions {
    std::vector<std::pair<std::string, RdfFormat>> m_files; // empty only when help is asked for
    size_t m_numberOfThreads = 1;
    bool m_isLenient = false;
    bool m_asksForJson = false;
    bool m_asksForHelp = false;
    bool m_waits = false;    // for another process that writes the output
    bool m_isForced = false; // replaces what is not a dictionary
    uint64_t m_memoryLimit = 0;
    uint64_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
    uint64_t m_maximumNumberOfResources = 0;
    std::string m_base;
    std::string m_intoName;        // the saved dictionary to add to; empty for a new one
    std::string m_outputName;      // where to save the dictionary; empty for nowhere
    std::vector<Lookup> m_lookups; // in the order given

    static const char* getHelp() noexcept;

    /// A wrong command line is a ToolFailure with ExitCode::USAGE.
    static LoadOptions parse(std::vector<std::string> arguments);
};

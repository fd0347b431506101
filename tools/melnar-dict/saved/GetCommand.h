#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <vector>

/// What the command line of `get` asks for.
struct GetOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
    std::vector<std::optional<uint64_t>> m_resourceIDs; // nothing stands for the lines of standard input
};

/// The command line of `get`, bound to the options.
VerbDescription describeGet(GetOptions& options);

/// The verb `get`: prints the terms of resource IDs of a saved dictionary.
ExitCode runGet(const GetOptions& options, StandardOutput& output, std::ostream& errorOutput);

#pragma once

#include "tools/melnar-dict/saved/SavedDictionaryOptions.h"
#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <vector>

/// The options of `get`.
struct GetOptions : SavedDictionaryOptions {
    bool m_asksForJson = false;
    std::vector<std::optional<uint64_t>> m_resourceIDs; // an empty one stands for the lines of standard input
};

/// The command line of `get`, bound to the options.
VerbDescription describeGet(GetOptions& options);

/// The verb `get`: prints the terms of resource IDs of a saved dictionary.
ExitCode runGet(const GetOptions& options, StandardOutput& output, std::ostream& errorOutput);

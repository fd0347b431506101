#pragma once

#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/load/CheckpointOptions.h"
#include "tools/melnar-dict/load/Lookup.h"
#include "tools/melnar-dict/load/TermResolver.h"
#include "tools/melnar-dict/pieces/BlankNodeOptions.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/rows/RowOptions.h"
#include "tools/melnar-dict/shell/DefaultNumberOfThreads.h"
#include "tools/melnar-dict/shell/MemoryLimit.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The options of `load`.
struct LoadOptions {
    InputFiles m_files;
    size_t m_numberOfThreads = getDefaultNumberOfThreads();
    bool m_isLenient = false;
    bool m_asksForJson = false;
    FeedbackOptions m_feedback;
    uint64_t m_numberOfErrorsShown = InputJournal::DEFAULT_NUMBER_OF_ERRORS_SHOWN;
    OutputOptions m_output; // without a name, the dictionary is not saved
    uint64_t m_memoryLimit = MemoryLimit::getDefault();
    uint64_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
    Rdf::Version m_version = Rdf::Version::RDF_1_2;
    std::optional<uint64_t> m_maximumNumberOfResources;
    std::string m_base;
    bool m_loadsOnlyStrings = false;
    bool m_makesShards = false; // the dictionary is a folder
    CheckpointOptions m_checkpoint;
    std::string m_idsName; // where rows of IDs go, "-" being standard output; empty for nowhere
    RowOptions m_rows;
    std::optional<TermResolver::Order> m_order; // without one, that of the input if there are rows
    BlankNodeOptions m_blankNodes;
    std::string m_intoName;        // the saved dictionary to add to; empty for a new one
    std::string m_rejectedName;    // where to keep what a lenient load skips; empty for nowhere
    std::vector<Lookup> m_lookups; // in the order given
};

/// Adds the options of a load, by one process or by several, on reading, errors and progress; and the checks of options
/// that exclude or need each other.
void addReading(VerbDescription& verb, LoadOptions& options);

/// The command line of `load`, bound to the options.
VerbDescription describeLoad(LoadOptions& options);

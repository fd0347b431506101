#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <functional>
#include <ostream>
#include <vector>

/// A verb of the tool: the description of its command line, and the function that does its work.
struct Verb {
    VerbDescription m_description;
    std::function<ExitCode(StandardOutput& output, std::ostream& errorOutput)> m_run;
};

/// Returns all verbs, in the order in which they are listed, each with its own options.
std::vector<Verb> makeVerbs();

#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/VerbDescription.h"

#include <functional>
#include <ostream>
#include <vector>

/// What the tool can do: how a verb's command line looks, and what does the work that the command line asks for.
struct Verb {
    VerbDescription m_description;
    std::function<ExitCode(StandardOutput& output, std::ostream& errorOutput)> m_run;
};

/// Returns all verbs, in the order in which they are listed, each with options of its own.
std::vector<Verb> makeVerbs();

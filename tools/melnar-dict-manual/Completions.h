#pragma once

#include "tools/melnar-dict/Verbs.h"

#include <string>
#include <vector>

/// Return scripts that let a shell complete verbs, options, and the values of options and operands that are files or
/// from a list.
std::string makeBashCompletions(const std::vector<Verb>& verbs);
std::string makeZshCompletions(const std::vector<Verb>& verbs);
std::string makeFishCompletions(const std::vector<Verb>& verbs);

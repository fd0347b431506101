#pragma once

#include "tools/melnar-dict/Verbs.h"

#include <string>
#include <vector>

/// Returns the manual page of the tool, for section 1, in the macros of man(7).
std::string makeToolPage(const std::vector<Verb>& verbs);

/// Returns the manual page of a verb.
std::string makeVerbPage(const VerbDescription& verb);

#pragma once

#include "tools/melnar-dict/shell/VerbDescription.h"

#include <string>
#include <vector>

/// Returns the manual page of a program, for section 1, in the macros of man(7). If another program starts it,
/// `starter` precedes its name, with a space in between.
std::string makeProgramPage(const std::string& starter, const std::string& purpose,
                            const std::vector<VerbDescription>& verbs);

/// Returns the manual page of a verb, and the name of the page.
std::string makeVerbPage(const VerbDescription& verb);
std::string getNameOfPage(const VerbDescription& verb);

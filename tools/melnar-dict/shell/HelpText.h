#pragma once

#include <string>

struct VerbDescription;

/// Returns the text of a verb's --help, in lines of up to 80 characters.
std::string makeHelpText(const VerbDescription& verb);

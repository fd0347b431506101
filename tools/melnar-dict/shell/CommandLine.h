#pragma once

#include "tools/melnar-dict/shell/VerbDescription.h"

#include <string>
#include <vector>

/// The request that a command line contains.
enum class Request { WORK, HELP };

/// Reads the arguments after the name of a verb: options (`--name value`, `--name=value`, `-n value`, `-nvalue`) and
/// operands in any order. A lone "-" and negative numbers are operands, and so is everything after "--". The value of
/// an option is the next argument, even if it looks like an option. Every verb has --help; if help is requested, no
/// value has been taken.
///
/// Errors  A wrong command line is a ToolFailure with ExitCode::USAGE.
Request readCommandLine(const VerbDescription& verb, const std::vector<std::string>& arguments);

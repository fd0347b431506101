#pragma once

#include "tools/melnar-dict/shell/VerbDescription.h"

#include <string>
#include <vector>

/// What a command line asks for.
enum class Request { WORK, HELP };

/// Reads the arguments behind the name of a verb: options (`--name value`, `--name=value`, `-n value`, `-nvalue`) and
/// operands in any order. A lone "-" and negative numbers are operands, and behind "--" everything is; the value of an
/// option is the next argument, whatever it looks like. Every verb has --help; if help is asked for, no value has been
/// taken.
///
/// Errors  A wrong command line is a ToolFailure with ExitCode::USAGE.
Request readCommandLine(const VerbDescription& verb, const std::vector<std::string>& arguments);

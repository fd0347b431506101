#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The files that names of a command line stand for, in its order. A name that has no format of its own gets the one
/// that its extension tells.
///
/// A folder stands for the files in it and in its folders, in the order of the bytes of their paths: all of them if it
/// has a format, otherwise those whose extensions tell one. What is hidden is passed over; links to files are followed,
/// and links to folders are not.
///
/// Errors  A ToolFailure: with ExitCode::USAGE for a file whose format nothing tells and for a folder without files that
///         are known, with ExitCode::FAILURE for a folder that cannot be read.
std::vector<std::pair<std::string, RdfFormat>>
expandInputNames(const std::vector<std::pair<std::string, std::optional<RdfFormat>>>& names);

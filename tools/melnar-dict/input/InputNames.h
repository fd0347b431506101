#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The files that names of a command line stand for, in its order. A name without a format gets the one that its
/// extension indicates.
///
/// A folder stands for the files in it and in its subfolders, in the byte order of their paths: all of them if it has a
/// format, otherwise those whose extensions indicate one. Hidden files are skipped; links to files are followed, and
/// links to folders are not.
///
/// Errors  A ToolFailure: with ExitCode::USAGE for a file with an unknown format and for a folder without known files,
///         with ExitCode::FAILURE for a folder that cannot be read.
std::vector<std::pair<std::string, RdfFormat>>
expandInputNames(const std::vector<std::pair<std::string, std::optional<RdfFormat>>>& names);

#pragma once

#include <string>

/// Returns the seconds that `cp` takes to copy a file to a new one and, if requested, `sync` to write the copy to the
/// disk. Removes the copy afterwards. Throws std::runtime_error if one of the commands fails.
double copyFile(const std::string& fileName, bool isSynchronised);

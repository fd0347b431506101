#pragma once

#include <string>

/// Seconds that `cp` takes to copy a file to one that is not there yet, and `sync` to make sure that the copy is on the
/// disk, if wanted. The copy is removed afterwards. Throws std::runtime_error when one of the commands fails.
double copyFile(const std::string& fileName, bool isSynchronised);

#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"

#include <string>

/// Returns whether a file, existing or not, is in this folder.
bool isInFolder(const std::string& fileName, const std::string& folderName);

/// Refuses files for rejected bytes and for rows that would destroy something, or each other.
void checkOtherOutputs(const LoadOptions& options);

#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"

#include <string>

/// Whether a file, there or not, is in this folder.
bool isInFolder(const std::string& fileName, const std::string& folderName);

/// Refuses what is skipped and rows that would destroy something, or each other.
void checkOtherOutputs(const LoadOptions& options);

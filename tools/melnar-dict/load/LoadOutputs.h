#pragma once

#include "tools/melnar-dict/load/LoadOptions.h"

#include <string>

/// The file by which a dictionary is locked and replaced: itself, or the manifest of a folder.
std::string getDictionaryFileName(const LoadOptions& options, const std::string& dictionaryName);

/// Refuses what is skipped and rows that would destroy something, or each other.
void checkOtherOutputs(const LoadOptions& options);

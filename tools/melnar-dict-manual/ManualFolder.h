#pragma once

#include <filesystem>
#include <functional>
#include <string>

/// Writes a file of the manual, and creates the folders that it is in. Throws std::ios::failure or
/// std::filesystem::filesystem_error.
void writeManualFile(const std::filesystem::path& path, const std::string& text);

/// Performs a build step, whose only argument is the folder of the manual, and reports errors. Returns the result of
/// main.
int runManualStep(int argumentCount, const char* const* arguments,
                  const std::function<void(const std::filesystem::path& folder)>& write);

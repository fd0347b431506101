#pragma once

#include <filesystem>
#include <functional>
#include <string>

/// Writes a file of the manual, and makes the folders that it is in. Throws std::ios::failure or
/// std::filesystem::filesystem_error.
void writeManualFile(const std::filesystem::path& path, const std::string& text);

/// Does the work of a step of the build, whose only argument is the folder of the manual, and tells what goes wrong. Returns
/// what main returns.
int runManualStep(int argumentCount, const char* const* arguments,
                  const std::function<void(const std::filesystem::path& folder)>& write);

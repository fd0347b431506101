#pragma once

#include <map>
#include <string>

/// Returns the contents of all files below a folder, by their relative names. Folders have empty contents.
std::map<std::string, std::string> getContentsOfFolder(const std::string& path);

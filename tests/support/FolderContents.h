#pragma once

#include <map>
#include <string>

/// The contents of all files below a folder, by their names there. Folders are empty ones.
std::map<std::string, std::string> getContentsOfFolder(const std::string& path);

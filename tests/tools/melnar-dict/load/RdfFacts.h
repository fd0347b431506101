#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Returns the folder of the real data sets, which MELNAR_DATA names; nothing if it does not exist.
std::optional<std::string> getDataFolder();

/// Returns the SHA-256, in hexadecimal.
std::string hashBytes(std::string_view bytes);

/// Returns the same for lexical forms that are sorted by their bytes, in the format of the data sets' facts: every
/// backslash doubled, every line feed written as a backslash and an n, and a line feed after each form.
std::string hashSortedForms(const std::vector<std::string>& sortedForms);

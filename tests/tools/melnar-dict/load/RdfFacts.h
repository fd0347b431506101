#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The folder of the real data sets, which MELNAR_DATA names; nothing when it is not there.
std::optional<std::string> getDataFolder();

/// The SHA-256, in hexadecimal.
std::string hashBytes(std::string_view bytes);

/// The same of lexical forms that are sorted by their bytes, as the data sets' facts give it: every
/// backslash doubled, every line feed written as a backslash and an n, a line feed behind each form.
std::string hashSortedForms(const std::vector<std::string>& sortedForms);

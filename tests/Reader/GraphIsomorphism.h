#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Returns whether two sets of statements, in canonical form and one per line, are the same except for the labels of
/// blank nodes.
bool areIsomorphic(std::string_view left, std::string_view right);

#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Whether two sets of statements, in canonical form and a line each, are the same but for the labels of blank nodes.
bool areIsomorphic(std::string_view left, std::string_view right);

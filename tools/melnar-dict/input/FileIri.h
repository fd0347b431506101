#pragma once

#include <string>

/// Returns the IRI that the relative ones of a file are relative to, unless it says otherwise. "-" is standard input.
std::string iriOfFile(const std::string& fileName);

#pragma once

#include <string>

/// Returns the IRI that relative IRIs of a file are relative to, unless the file sets another base. "-" is standard
/// input.
std::string iriOfFile(const std::string& fileName);

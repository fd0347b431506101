#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

/// Reads a file that may be compressed. Returns nothing if that is an error.
using ReadPackedFile = std::function<std::optional<std::string>(const std::string& path)>;

/// Reads it like the tool.
std::optional<std::string> readPackedFile(const std::string& path);

/// Cuts files at every byte: generated ones of each syntax, plain and in each compressed format. In the rest of a plain
/// file, the reader must find what the judge finds. The rest of a compressed one must be an error unless the cut is
/// between two streams. Continues with further files until there were `numberOfCuts` cuts. Prints each fault, and then
/// a line. Returns whether there was none.
bool tortureCuts(size_t numberOfCuts, uint32_t seed, const std::string& folder, std::ostream& output,
                 const ReadPackedFile& read = readPackedFile);

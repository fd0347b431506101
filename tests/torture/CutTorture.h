#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

/// Reads a file that may be packed. Returns nothing if that is an error.
using ReadPackedFile = std::function<std::optional<std::string>(const std::string& path)>;

/// The tool's way.
std::optional<std::string> readPackedFile(const std::string& path);

/// Cuts files at every byte: made ones of each syntax, plain and packed in each way. The reader must find in what is left
/// of a plain file what the judge finds; what is left of a packed one must be an error unless the cut is between two
/// streams. Goes on with further files until there were so many cuts. Prints what is not so, and then a line. Returns
/// whether all is so.
bool tortureCuts(size_t numberOfCuts, uint32_t seed, const std::string& folder, std::ostream& output,
                 const ReadPackedFile& read = readPackedFile);

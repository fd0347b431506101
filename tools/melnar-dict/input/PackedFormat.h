#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The compression formats that the tool reads.
enum class PackedFormat { GZIP, BZIP2, XZ, ZSTD };

/// The maximum number of bytes that are needed to recognize a compression format.
constexpr size_t LENGTH_OF_PACKED_BEGINNING = 10;

/// Returns the format of a file that begins with these bytes. No RDF text begins like any of them.
std::optional<PackedFormat> packedFormatOfBeginning(std::string_view firstBytes);

/// Returns the compression format that the last extension of a name indicates; upper and lower case do not matter.
std::optional<PackedFormat> packedFormatOfFile(std::string_view fileName);

/// Returns the name without the extension of a compression format, if it has one.
std::string_view withoutPackedExtension(std::string_view fileName);

/// Throws a ToolFailure with ExitCode::USAGE if the name of an output indicates a compression format: the tool does not
/// compress.
void refusePackedOutput(const std::string& outputName);

/// Throws a ToolFailure with ExitCode::FAILURE: the file is not valid in its format.
[[noreturn]] void failAsUnsound(PackedFormat format, const std::string& cause);

/// Throws a ToolFailure with ExitCode::FAILURE: the decompression would need more than so many bytes of memory.
[[noreturn]] void failAsTooLarge(size_t largestMemory);

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The formats of packed files that the tool reads.
enum class PackedFormat { GZIP, BZIP2, XZ, ZSTD };

/// The most bytes that it takes to know a packed format by its beginning.
constexpr size_t LENGTH_OF_PACKED_BEGINNING = 10;

/// The format of a file that begins with these bytes. No text of RDF begins like any of them.
std::optional<PackedFormat> packedFormatOfBeginning(std::string_view firstBytes);

/// The format that the last extension of a name promises, in any case of letters.
std::optional<PackedFormat> packedFormatOfFile(std::string_view fileName);

/// The name without the extension that promises a packed format, if it has one.
std::string_view withoutPackedExtension(std::string_view fileName);

/// Throws a ToolFailure with ExitCode::USAGE if the name of an output promises a packed format: the tool packs nothing.
void refusePackedOutput(const std::string& outputName);

/// Throws a ToolFailure with ExitCode::FAILURE: the file is not what its format demands.
[[noreturn]] void failAsUnsound(PackedFormat format, const std::string& cause);

/// Throws a ToolFailure with ExitCode::FAILURE: the file would take more than so many bytes of memory to unpack.
[[noreturn]] void failAsTooLarge(size_t largestMemory);

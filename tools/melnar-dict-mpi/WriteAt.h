#pragma once

#include "Engine/core/platform/stream/FileDescriptor.h"

#include <cstdint>
#include <string>
#include <string_view>

/// Writes all bytes at a position of a file, independent of the file offset. SystemCallException that names the file.
void writeAt(const melnar::FileDescriptor& file, const std::string& fileName, std::string_view bytes, uint64_t place);

#pragma once

#include "Engine/core/platform/stream/FileDescriptor.h"

#include <cstdint>
#include <string>
#include <string_view>

/// Writes all bytes to a place in a file, which is not what is written to next. SystemCallException that names the file.
void writeAt(const FileDescriptor& file, const std::string& fileName, std::string_view bytes, uint64_t place);

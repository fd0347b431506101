#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <memory>
#include <string>

/// Opens a file for reading, "-" being standard input. Its first bytes tell whether it is packed with gzip; a name that
/// ends in .gz must keep what it says.
std::unique_ptr<ByteSource> openInputFile(const std::string& fileName);

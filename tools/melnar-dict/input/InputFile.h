#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

/// Opens a file for reading, "-" being standard input. Its first bytes tell whether and how it is packed; a name that
/// promises a packed format must keep what it says. What is packed is unpacked beside the reading thread: by a thread
/// of its own, and by up to `numberOfThreads` others where the format allows that.
///
/// When a stop is requested, a read that waits for bytes fails soon. The bytes of the file, packed or not, are added to a
/// counter as they are read, if there is one, which must outlive the source.
std::unique_ptr<ByteSource> openInputFile(const std::string& fileName, size_t numberOfThreads,
                                          std::stop_source stop = {}, std::atomic<uint64_t>* bytesRead = nullptr);

/// Whether openInputFile reads a regular file as it stands, so that a place in its text is a place in the file. Fails as
/// openInputFile does.
bool isPlainFile(const std::string& fileName);

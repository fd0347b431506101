#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

/// Opens a file for reading, "-" being standard input. Its first bytes determine whether and how it is compressed. If
/// the name indicates a compression format, the file must have that format. Compressed files are decompressed by a
/// separate thread, and by up to `numberOfThreads` others if the format allows it.
///
/// When a stop is requested, a read that waits for bytes fails soon. If there is a counter, which must outlive the
/// source, the number of bytes that are read from the file, compressed or not, is added to it.
std::unique_ptr<ByteSource> openInputFile(const std::string& fileName, size_t numberOfThreads,
                                          std::stop_source stop = {}, std::atomic<uint64_t>* bytesRead = nullptr);

/// Returns whether openInputFile reads a regular file as it is, so that a position in its text is a position in the
/// file. Fails like openInputFile.
bool isPlainFile(const std::string& fileName);

#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// A .npy with rows of IDs that several processes write, each some of the rows, in any order. One of these processes,
/// or another one, writes the header.
///
/// Ownership  Owns a descriptor of the file.
/// Threads    One at a time.
/// Errors     SystemCallException that names the file and the call.
class SharedRowFile : private Unmovable {
public:
    /// The file must exist.
    SharedRowFile(std::string fileName, size_t numberOfColumns, size_t idWidth);

    /// Writes whole rows, the first of which has this number, from 0.
    void write(uint64_t firstRow, std::span<const uint64_t> cells);

    /// Returns only when the written rows are on the disk.
    void synchronize();

private:
    const std::string m_fileName;
    const size_t m_numberOfColumns;
    const size_t m_idWidth;
    const melnar::FileDescriptor m_file;
    std::string m_bytes;
};

#pragma once

#include "tools/melnar-dict-mpi/SlicePlan.h"

#include "tools/melnar-dict/input/ByteSource.h"

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileDescriptor.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

/// The slices of a plain file with one statement per line. A slice starts with the first line that starts at a multiple
/// of SLICE_SIZE or after it, and ends where the next one starts: so each line is in one slice, and some slices may be
/// empty. Lines end with a line feed; other ends of a statement do not end a slice.
///
/// Ownership  Owns the file's descriptor; an open slice refers to this.
/// Threads    One at a time.
/// Errors     As ByteSource.
class FileSlices : private Unmovable {
public:
    /// The input must be one that is cut. Its size is that of the plan: bytes that were appended to the file since are
    /// not read. `bytesRead` counts the bytes of slices.
    FileSlices(const SlicePlan::Input& input, std::atomic<uint64_t>& bytesRead);

    /// Opens the slice with this index in the input.
    std::unique_ptr<ByteSource> open(uint64_t index);

private:
    class Source;

    uint64_t findBegin(uint64_t index);
    size_t read(uint64_t place, char* buffer, size_t size) const;

    const std::string m_name;
    const uint64_t m_size;
    std::atomic<uint64_t>& m_bytesRead;
    melnar::FileDescriptor m_file; // not open until it is needed
    // The start of the line that was found last, and the position from which on there is no earlier one: long lines are
    // not searched again.
    uint64_t m_beginOfSearch = 0;
    uint64_t m_beginOfLine = 0;
};

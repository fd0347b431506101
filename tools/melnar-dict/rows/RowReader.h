#pragma once

#include "tools/melnar-dict/input/ByteSource.h"
#include "tools/melnar-dict/rows/NpyHeader.h"

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// Consecutive rows of a file.
struct RowBlock {
    uint64_t m_sequence = 0; // counts the blocks of a file from 0
    uint64_t m_firstRow = 0; // counts the rows of a file from 0
    std::string m_bytes;
};

/// Reads a .npy with rows of IDs: of NumPy's versions 1.0 to 3.0, made by the tool or by others.
///
/// Threads  next: any number concurrently. The rest: any thread at any time.
/// Errors   ToolFailure that does not name the file: with ExitCode::BAD_DATA and the reason if the file is wrong, also
///          if it ends early or late; those of the source.
class RowReader : private Unmovable {
public:
    static constexpr size_t DEFAULT_BLOCK_SIZE = size_t(1) << 15; // bytes

    /// Reads the header.
    explicit RowReader(std::unique_ptr<ByteSource> source, size_t blockSize = DEFAULT_BLOCK_SIZE);

    const NpyHeader& getHeader() const noexcept { return m_header; }

    /// Reads the next rows; returns false if there are no more, and after an error.
    bool next(RowBlock& block);

    /// Returns the number of blocks that `next` has read.
    uint64_t getNumberOfBlocks() const;

    /// Replaces the contents of `ids` by the IDs of a block. A negative number is an error.
    void takeIDs(const RowBlock& block, std::vector<uint64_t>& ids) const;

private:
    static NpyHeader readHeader(ByteSource& source);

    const std::unique_ptr<ByteSource> m_source;
    const NpyHeader m_header;
    const uint64_t m_rowsPerBlock;
    mutable std::mutex m_mutex; // protects the source and everything below
    uint64_t m_numberOfBlocks = 0;
    uint64_t m_nextRow = 0;
    bool m_isAtEnd = false;
};

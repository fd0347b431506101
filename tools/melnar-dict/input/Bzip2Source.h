#pragma once

#include "tools/melnar-dict/input/ByteSource.h"
#include "tools/melnar-dict/input/Bzip2Block.h"
#include "tools/melnar-dict/input/Bzip2Scanner.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <future>
#include <memory>
#include <string>

/// The contents of a bzip2 file, its blocks decompressed by several threads: all of its streams, each block and each
/// stream checked against its checksum. Zero bytes after the last stream are padding.
///
/// Data that looks like the start of a block is decompressed speculatively. If a stretch is not a whole block, it is
/// decompressed again together with the next ones. So the result is always that of one thread.
///
/// Memory  About 6 MB for each thread.
/// Errors  Those of the compressed source; a wrong checksum, a file that ends early, bytes that are not bzip2. All
///         after the bytes of the blocks before.
class Bzip2Source final : public ByteSource {
public:
    Bzip2Source(std::unique_ptr<ByteSource> packed, size_t numberOfThreads);

    size_t read(char* buffer, size_t size) override;

private:
    enum class Position { BETWEEN_STREAMS, IN_STREAM, IN_PADDING };

    struct BlockText {
        Bzip2Block::State m_state; // FULL for a sound block with too long a text to keep
        std::string m_text;
    };

    /// A stretch, and its decompressed text if it looks like a block.
    struct Pending {
        std::shared_ptr<const Bzip2Stretch> m_stretch; // shared with the thread
        std::future<BlockText> m_text;
    };

    static BlockText unpackBlock(const BitString& bits);

    void startThreads();
    bool unpackNext();
    void takeBlock(BitString bits, BlockText text);
    void takeEndOfStream(const Bzip2Stretch& stretch);
    void takeBytesBetweenStreams(const std::string& bytes);
    [[noreturn]] void failAtEnd();

    Bzip2Scanner m_scanner;
    const size_t m_largestNumberOfPending;
    std::deque<Pending> m_pending;
    bool m_isScanned = false;         // whether the scanner is at its end
    std::exception_ptr m_scanFailure; // of the source; thrown when everything before it has been delivered
    Position m_position = Position::BETWEEN_STREAMS;
    uint32_t m_checksum = 0;                  // of the stream so far
    std::string m_text;                       // of the last block
    size_t m_delivered = 0;                   // bytes of it
    std::unique_ptr<Bzip2Block> m_largeBlock; // after it; null when it has been delivered
};

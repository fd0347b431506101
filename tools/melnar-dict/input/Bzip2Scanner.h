#pragma once

#include "tools/melnar-dict/input/BitString.h"
#include "tools/melnar-dict/input/ByteSource.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Bits of a bzip2 file, from a position where a block or the end of a stream seems to start to before the next such
/// position.
struct Bzip2Stretch {
    enum class Kind {
        BLOCK,         // begins like a block
        END_OF_STREAM, // begins like the end of a stream
        OTHER,         // starts a file, or continues after LARGEST_STRETCH bits without such a position
    };

    Kind m_kind;
    size_t m_offset; // of the first bit within its byte
    BitString m_bits;
};

/// Cuts a bzip2 file into stretches. Blocks start at any bit, with 48 bits that other data may also contain by chance.
/// So a stretch can be less than a block, but never more.
///
/// Threads  One at a time.
/// Errors   Those of the source.
class Bzip2Scanner {
public:
    static constexpr size_t MAGIC_SIZE = 48;
    static constexpr uint64_t BLOCK_MAGIC = 0x314159265359;
    static constexpr uint64_t END_MAGIC = 0x177245385090;

    /// In bits: more than a block can take with the longest codes for all of its 900,000 bytes.
    static constexpr size_t LARGEST_STRETCH = size_t(32) << 20;

    explicit Bzip2Scanner(std::unique_ptr<ByteSource> packed);

    /// Returns nothing at the end of the file.
    std::optional<Bzip2Stretch> next();

private:
    size_t getNumberOfBits() const noexcept;
    std::optional<size_t> findMagic() noexcept;
    bool readMore();

    const std::unique_ptr<ByteSource> m_source;
    std::string m_bytes;
    size_t m_begin = 0;           // the first bit of the next stretch
    size_t m_numberOfScanned = 0; // bytes at whose end no magic ends that starts after m_begin
};

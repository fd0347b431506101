#pragma once

#include "tools/melnar-dict/input/ByteSource.h"
#include "tools/melnar-dict/input/Decoder.h"
#include "tools/melnar-dict/input/PackedFormat.h"

#include <exception>
#include <memory>
#include <span>

/// The contents of a compressed file, decompressed by one decoder.
///
/// Errors  Those of the compressed source and of the decoder, after all bytes before them; a file that ends early.
class DecodingSource final : public ByteSource {
public:
    static constexpr size_t PACKED_BUFFER_SIZE = 256 * 1024;

    DecodingSource(std::unique_ptr<ByteSource> packed, PackedFormat format, std::unique_ptr<Decoder> decoder);

    size_t read(char* buffer, size_t size) override;

private:
    void fill(std::span<char>& unpacked);

    const std::unique_ptr<ByteSource> m_source;
    const PackedFormat m_format;
    const std::unique_ptr<Decoder> m_decoder;
    const std::unique_ptr<char[]> m_buffer;
    std::span<char> m_packed; // the part of the buffer that the decoder has not taken yet
    bool m_isHungry = true;   // whether the decoder needs more bytes to continue
    bool m_isLast = false;    // whether the compressed source is at its end
    bool m_isAtEnd = false;
    std::exception_ptr m_failure; // to be thrown when the bytes before it have been delivered
};

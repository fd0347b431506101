#pragma once

#include "tools/melnar-dict/input/Decoder.h"

#include <cstddef>

#include <lzma.h>

/// xz: any number of streams with padding between and after them. If a file has blocks that contain their sizes, as
/// several threads write them, several threads decompress them.
class XzDecoder final : public Decoder {
public:
    /// The maximum memory for decompression, including threads: a larger xz dictionary is an error, a larger sum means
    /// fewer threads.
    static constexpr size_t LARGEST_MEMORY = size_t(256) << 20;

    explicit XzDecoder(size_t numberOfThreads);
    ~XzDecoder() override;

    bool decode(std::span<char>& packed, bool isLast, std::span<char>& unpacked) override;

private:
    static void requireSuccess(lzma_ret result);

    lzma_stream m_stream = LZMA_STREAM_INIT;
};

#pragma once

#include "tools/melnar-dict/input/Decoder.h"

#include <cstddef>

#include <lzma.h>

/// xz: any number of streams with padding between and after them. If a file has blocks that tell their sizes, as those
/// of several threads have, several threads unpack them.
class XzDecoder final : public Decoder {
public:
    /// What unpacking may take, threads included: a larger dictionary is an error, a larger sum means fewer threads.
    static constexpr size_t LARGEST_MEMORY = size_t(256) << 20;

    explicit XzDecoder(size_t numberOfThreads);
    ~XzDecoder() override;

    bool decode(std::span<char>& packed, bool isLast, std::span<char>& unpacked) override;

private:
    static void requireSuccess(lzma_ret result);

    lzma_stream m_stream = LZMA_STREAM_INIT;
};

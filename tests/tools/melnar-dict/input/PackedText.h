#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include <bzlib.h>
#include <lzma.h>
#include <zstd.h>

/// Returns a bzip2 file with one stream, which contains the text, in blocks of `blockSize` times 100,000 bytes.
inline std::string bzip2(std::string text, const int blockSize = 1) {
    std::string packed(text.size() + text.size() / 50 + 1000, '\0');
    auto size = static_cast<unsigned>(packed.size());
    if (BZ2_bzBuffToBuffCompress(packed.data(), &size, text.data(), static_cast<unsigned>(text.size()), blockSize, 0,
                                 0) != BZ_OK)
        throw std::runtime_error("libbz2 does not pack.");
    packed.resize(size);
    return packed;
}

/// Makes a text whose block in a bzip2 file contains this magic number: each block states which bytes occur in it, in
/// rows of 16, one bit each.
inline std::string makeTextWithMagic(const uint64_t magic, const char filler) {
    std::string text(1, filler);
    for (unsigned row = 0; row < 3; ++row)
        for (unsigned column = 0; column < 16; ++column)
            if ((magic >> (47 - 16 * row - column) & 1) != 0)
                text += static_cast<char>(0x40 + 16 * row + column);
    return text + text;
}

struct XzOptions {
    lzma_check m_check = LZMA_CHECK_CRC64;
    uint64_t m_blockSize = 0; // unless 0, blocks state their sizes, so several threads can decompress them
    uint32_t m_dictionarySize = 1 << 20;
};

/// Returns an xz file with one stream, which contains the text.
inline std::string xz(const std::string& text, const XzOptions& options = {}) {
    lzma_options_lzma settings;
    lzma_lzma_preset(&settings, 0);
    settings.dict_size = options.m_dictionarySize;
    const lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &settings}, {LZMA_VLI_UNKNOWN, nullptr}};
    lzma_mt threads{};
    threads.threads = 1;
    threads.block_size = options.m_blockSize;
    threads.filters = filters;
    threads.check = options.m_check;
    lzma_stream stream = LZMA_STREAM_INIT;
    const lzma_ret start = options.m_blockSize == 0 ? lzma_stream_encoder(&stream, filters, options.m_check)
                                                    : lzma_stream_encoder_mt(&stream, &threads);
    std::string packed(text.size() + text.size() / 10 + 10000, '\0');
    stream.next_in = reinterpret_cast<const uint8_t*>(text.data());
    stream.avail_in = text.size();
    stream.next_out = reinterpret_cast<uint8_t*>(packed.data());
    stream.avail_out = packed.size();
    lzma_ret result = start;
    while (result == LZMA_OK)
        result = lzma_code(&stream, LZMA_FINISH);
    packed.resize(stream.total_out);
    lzma_end(&stream);
    if (result != LZMA_STREAM_END)
        throw std::runtime_error("liblzma does not pack.");
    return packed;
}

/// Returns a zstd file with one frame, which contains the text.
inline std::string zstd(const std::string& text, const bool hasChecksum = true) {
    ZSTD_CCtx* const context = ZSTD_createCCtx();
    ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, hasChecksum ? 1 : 0);
    std::string packed(ZSTD_compressBound(text.size()), '\0');
    const size_t size = ZSTD_compress2(context, packed.data(), packed.size(), text.data(), text.size());
    ZSTD_freeCCtx(context);
    if (ZSTD_isError(size))
        throw std::runtime_error("libzstd does not pack.");
    packed.resize(size);
    return packed;
}

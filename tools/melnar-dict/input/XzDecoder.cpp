#include "tools/melnar-dict/input/XzDecoder.h"

#include "tools/melnar-dict/input/PackedFormat.h"

#include <cstdint>
#include <new>

XzDecoder::XzDecoder(const size_t numberOfThreads) {
    lzma_mt options{};
    options.flags = LZMA_CONCATENATED | LZMA_TELL_UNSUPPORTED_CHECK;
    options.threads = static_cast<uint32_t>(numberOfThreads);
    options.memlimit_threading = LARGEST_MEMORY;
    options.memlimit_stop = LARGEST_MEMORY;
    requireSuccess(lzma_stream_decoder_mt(&m_stream, &options));
}

XzDecoder::~XzDecoder() {
    lzma_end(&m_stream);
}

bool XzDecoder::decode(std::span<char>& packed, const bool isLast, std::span<char>& unpacked) {
    lzma_ret result = LZMA_OK;
    while (result == LZMA_OK && !unpacked.empty() && (isLast || !packed.empty())) {
        m_stream.next_in = reinterpret_cast<const uint8_t*>(packed.data());
        m_stream.avail_in = packed.size();
        m_stream.next_out = reinterpret_cast<uint8_t*>(unpacked.data());
        m_stream.avail_out = unpacked.size();
        result = lzma_code(&m_stream, isLast ? LZMA_FINISH : LZMA_RUN);
        packed = packed.last(m_stream.avail_in);
        unpacked = unpacked.last(m_stream.avail_out);
    }
    // If the decoder can make no progress, it needs more bytes.
    if (result != LZMA_STREAM_END && result != LZMA_BUF_ERROR)
        requireSuccess(result);
    return result == LZMA_STREAM_END;
}

void XzDecoder::requireSuccess(const lzma_ret result) {
    switch (result) {
    case LZMA_OK:
        return;
    case LZMA_MEM_ERROR:
        throw std::bad_alloc();
    case LZMA_MEMLIMIT_ERROR:
        failAsTooLarge(LARGEST_MEMORY);
    case LZMA_UNSUPPORTED_CHECK:
        failAsUnsound(PackedFormat::XZ, "its kind of checksum is unknown");
    case LZMA_OPTIONS_ERROR:
        failAsUnsound(PackedFormat::XZ, "its compression options are not supported");
    default:
        failAsUnsound(PackedFormat::XZ, "its data is damaged");
    }
}

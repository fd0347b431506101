#include "tools/melnar-dict/input/ZstdDecoder.h"

#include "tools/melnar-dict/input/PackedFormat.h"

#include <cstddef>
#include <new>

#include <zstd_errors.h>

namespace {

[[noreturn]] void failWith(const ZSTD_ErrorCode code) {
    switch (code) {
    case ZSTD_error_memory_allocation:
        throw std::bad_alloc();
    case ZSTD_error_frameParameter_windowTooLarge:
        failAsTooLarge(size_t(1) << ZstdDecoder::LARGEST_WINDOW_LOG);
    case ZSTD_error_prefix_unknown:
        failAsUnsound(PackedFormat::ZSTD, "something else follows the compressed data");
    case ZSTD_error_checksum_wrong:
        failAsUnsound(PackedFormat::ZSTD, "its checksum does not fit its data");
    default:
        failAsUnsound(PackedFormat::ZSTD, "its data is damaged");
    }
}

} // namespace

ZstdDecoder::ZstdDecoder() : m_context(ZSTD_createDCtx()) {
    if (!m_context)
        throw std::bad_alloc();
    ZSTD_DCtx_setParameter(m_context.get(), ZSTD_d_windowLogMax, LARGEST_WINDOW_LOG);
}

bool ZstdDecoder::decode(std::span<char>& packed, bool, std::span<char>& unpacked) {
    do {
        if (packed.empty() && !m_isInFrame)
            return true;
        ZSTD_inBuffer input{packed.data(), packed.size(), 0};
        ZSTD_outBuffer output{unpacked.data(), unpacked.size(), 0};
        const size_t result = ZSTD_decompressStream(m_context.get(), &output, &input);
        packed = packed.subspan(input.pos);
        unpacked = unpacked.subspan(output.pos);
        if (ZSTD_isError(result))
            failWith(ZSTD_getErrorCode(result));
        m_isInFrame = result != 0;
    } while (!packed.empty() && !unpacked.empty());
    return !m_isInFrame;
}

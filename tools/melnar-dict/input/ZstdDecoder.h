#pragma once

#include "tools/melnar-dict/input/Decoder.h"

#include <memory>

#include <zstd.h>

/// zstd: any number of frames, including skippable ones. A frame is checked against its checksum if it has one; damage
/// to a frame without a checksum may stay undetected.
class ZstdDecoder final : public Decoder {
public:
    /// The largest window, as the binary logarithm of its bytes: the default limit of the format's own tool.
    static constexpr int LARGEST_WINDOW_LOG = 27;

    ZstdDecoder();

    bool decode(std::span<char>& packed, bool isLast, std::span<char>& unpacked) override;

private:
    struct Destroyer {
        void operator()(ZSTD_DCtx* const context) const noexcept { ZSTD_freeDCtx(context); }
    };

    const std::unique_ptr<ZSTD_DCtx, Destroyer> m_context;
    bool m_isInFrame = false;
};

#include "tests/fuzz/PlainDecoders.h"

#include "tests/fuzz/Require.h"
#include "tools/melnar-dict/input/XzDecoder.h"
#include "tools/melnar-dict/input/ZstdDecoder.h"

#include <algorithm>
#include <string_view>

#include <bzlib.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

namespace {

constexpr size_t GZIP_HEADER = 10; // without optional fields

bool isPadding(const std::string_view rest) {
    return rest.find_first_not_of('\0') == std::string_view::npos;
}

/// The state of a library of the family of zlib while it decompresses one stream.
template<class State>
void start(State& state, std::string& packed, const size_t begin, std::string& text) {
    state.next_in = reinterpret_cast<decltype(state.next_in)>(packed.data() + begin);
    state.avail_in = static_cast<unsigned>(packed.size() - begin);
    state.next_out = reinterpret_cast<decltype(state.next_out)>(text.data());
    state.avail_out = static_cast<unsigned>(text.size());
}

PlainText decodeGzip(std::string packed, const size_t largestText) {
    constexpr int GZIP_WINDOW = 15 + 16;
    PlainText result{std::string(largestText, '\0'), false};
    z_stream state{};
    require(inflateInit2(&state, GZIP_WINDOW) == Z_OK, "zlib starts");
    start(state, packed, 0, result.m_text);
    while (!result.m_isSound && inflate(&state, Z_NO_FLUSH) == Z_STREAM_END) {
        result.m_isSound = isPadding(std::string_view(packed).substr(packed.size() - state.avail_in));
        inflateReset2(&state, GZIP_WINDOW);
    }
    result.m_text.resize(largestText - state.avail_out);
    inflateEnd(&state);
    return result;
}

PlainText decodeBzip2(std::string packed, const size_t largestText) {
    PlainText result{std::string(largestText, '\0'), false};
    size_t begin = 0;
    size_t size = 0;
    for (int code = BZ_STREAM_END; code == BZ_STREAM_END && !result.m_isSound;) {
        if (packed.size() - begin < 4 || packed[begin + 3] < '1' || packed[begin + 3] > '9')
            break;
        packed[begin + 3] = '9'; // The header states how large blocks may be; the tool allows the largest size.
        bz_stream state{};
        require(BZ2_bzDecompressInit(&state, 0, 0) == BZ_OK, "libbz2 starts");
        start(state, packed, begin, result.m_text);
        state.next_out += size;
        state.avail_out -= static_cast<unsigned>(size);
        code = BZ2_bzDecompress(&state); // as far as there is input and space
        size = largestText - state.avail_out;
        begin = packed.size() - state.avail_in;
        BZ2_bzDecompressEnd(&state);
        result.m_isSound = code == BZ_STREAM_END && isPadding(std::string_view(packed).substr(begin));
    }
    result.m_text.resize(size);
    return result;
}

PlainText decodeXz(const std::string& packed, const size_t largestText) {
    PlainText result{std::string(largestText, '\0'), false};
    lzma_stream state = LZMA_STREAM_INIT;
    require(lzma_stream_decoder(&state, XzDecoder::LARGEST_MEMORY, LZMA_CONCATENATED | LZMA_TELL_UNSUPPORTED_CHECK) ==
                LZMA_OK,
            "liblzma starts");
    state.next_in = reinterpret_cast<const uint8_t*>(packed.data());
    state.avail_in = packed.size();
    state.next_out = reinterpret_cast<uint8_t*>(result.m_text.data());
    state.avail_out = largestText;
    lzma_ret code = LZMA_OK;
    while (code == LZMA_OK)
        code = lzma_code(&state, LZMA_FINISH);
    result.m_isSound = code == LZMA_STREAM_END;
    result.m_text.resize(largestText - state.avail_out);
    lzma_end(&state);
    return result;
}

PlainText decodeZstd(const std::string& packed, const size_t largestText) {
    PlainText result{std::string(largestText, '\0'), false};
    ZSTD_DCtx* const context = ZSTD_createDCtx();
    ZSTD_DCtx_setParameter(context, ZSTD_d_windowLogMax, ZstdDecoder::LARGEST_WINDOW_LOG);
    ZSTD_inBuffer input{packed.data(), packed.size(), 0};
    ZSTD_outBuffer output{result.m_text.data(), largestText, 0};
    size_t code = 0;
    while (input.pos != input.size && output.pos != output.size && !ZSTD_isError(code))
        code = ZSTD_decompressStream(context, &output, &input);
    result.m_isSound = code == 0 && input.pos == input.size;
    result.m_text.resize(output.pos);
    ZSTD_freeDCtx(context);
    return result;
}

} // namespace

PlainText decodePlainly(const PackedFormat format, const std::string& packed, const size_t largestText) {
    switch (format) {
    case PackedFormat::GZIP:
        return decodeGzip(packed, largestText);
    case PackedFormat::BZIP2:
        return decodeBzip2(packed, largestText);
    case PackedFormat::XZ:
        return decodeXz(packed, largestText);
    default:
        return decodeZstd(packed, largestText);
    }
}

std::string repairGzip(const std::string& packed, const size_t largestText) {
    constexpr int RAW_WINDOW = -15;
    std::string text(largestText, '\0');
    std::string data = packed.substr(std::min(packed.size(), GZIP_HEADER));
    z_stream state{};
    require(inflateInit2(&state, RAW_WINDOW) == Z_OK, "zlib starts");
    start(state, data, 0, text);
    const int code = inflate(&state, Z_FINISH);
    inflateEnd(&state);
    if (code != Z_STREAM_END)
        return packed;
    std::string repaired("\x1F\x8B\x08\0\0\0\0\0\0\xFF", GZIP_HEADER);
    repaired.append(data, 0, data.size() - state.avail_in);
    const uLong textSize = largestText - state.avail_out;
    const uLong checksum = crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(textSize));
    for (const uLong field : {checksum, textSize})
        for (unsigned shift = 0; shift < 32; shift += 8)
            repaired += static_cast<char>(field >> shift & 0xFF);
    return repaired;
}

#pragma once

#include <stdexcept>
#include <string>

#include <zlib.h>

/// Returns a gzip file with one member, which contains the text.
inline std::string gzip(const std::string& text) {
    constexpr int WINDOW_BITS_OF_GZIP = 15 + 16;
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, WINDOW_BITS_OF_GZIP, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("zlib does not start.");
    std::string packed(deflateBound(&stream, text.size()) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const int result = deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END)
        throw std::runtime_error("zlib does not finish.");
    return packed;
}

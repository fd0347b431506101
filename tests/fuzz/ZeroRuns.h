#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

/// Texts in which most bytes are 0, shortened: after a byte 0 follows how many there are, at most 255.
namespace ZeroRuns {

inline std::string shorten(const std::string_view bytes) {
    std::string shortened;
    for (size_t begin = 0; begin < bytes.size();) {
        const size_t length =
            std::min<size_t>(std::min(bytes.find_first_not_of('\0', begin), bytes.size()) - begin, 255);
        shortened += bytes[begin];
        if (length != 0)
            shortened += static_cast<char>(length);
        begin += std::max<size_t>(length, 1);
    }
    return shortened;
}

/// Takes any bytes.
inline std::string restore(const std::string_view shortened) {
    std::string bytes;
    for (size_t index = 0; index < shortened.size(); ++index)
        if (shortened[index] != '\0')
            bytes += shortened[index];
        else if (++index < shortened.size())
            bytes.append(static_cast<unsigned char>(shortened[index]), '\0');
    return bytes;
}

} // namespace ZeroRuns

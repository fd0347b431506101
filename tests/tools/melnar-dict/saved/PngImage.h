#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The pixels of a PNG file with 8 bits for each of three or four components, not interlaced, as browsers write them.
class PngImage {
public:
    /// Throws std::runtime_error for a file of another kind.
    explicit PngImage(const std::string& file);

    size_t getWidth() const { return m_width; }
    size_t getHeight() const { return m_height; }

    /// Returns the colour of a pixel as 0xRRGGBB; x counts from the left, y from the top.
    uint32_t getColour(size_t x, size_t y) const;

private:
    size_t m_width;
    size_t m_height;
    size_t m_bytesOfAPixel;
    std::vector<uint8_t> m_bytes; // row after row
};

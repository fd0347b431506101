#include "tests/tools/melnar-dict/saved/PngImage.h"

#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include <zlib.h>

namespace {

constexpr std::string_view SIGNATURE("\x89PNG\r\n\x1A\n");

size_t readNumber(const std::string& file, const size_t position) {
    size_t number = 0;
    for (size_t index = 0; index < 4; ++index)
        number = number << 8 | static_cast<uint8_t>(file.at(position + index));
    return number;
}

/// Returns the value among left, above and their common neighbour that is closest to the prediction from all three.
uint8_t predict(const int left, const int above, const int aboveLeft) {
    const int prediction = left + above - aboveLeft;
    const int toLeft = std::abs(prediction - left);
    const int toAbove = std::abs(prediction - above);
    const int toAboveLeft = std::abs(prediction - aboveLeft);
    if (toLeft <= toAbove && toLeft <= toAboveLeft)
        return static_cast<uint8_t>(left);
    return static_cast<uint8_t>(toAbove <= toAboveLeft ? above : aboveLeft);
}

uint8_t undoFilter(const uint8_t filter, const uint8_t left, const uint8_t above, const uint8_t aboveLeft) {
    switch (filter) {
    case 0:
        return 0;
    case 1:
        return left;
    case 2:
        return above;
    case 3:
        return static_cast<uint8_t>((left + above) / 2);
    case 4:
        return predict(left, above, aboveLeft);
    default:
        throw std::runtime_error("An unknown filter of a PNG file.");
    }
}

} // namespace

PngImage::PngImage(const std::string& file) : m_width(0), m_height(0), m_bytesOfAPixel(0) {
    if (!file.starts_with(SIGNATURE))
        throw std::runtime_error("Not a PNG file.");
    std::string packed;
    for (size_t position = SIGNATURE.size(); position < file.size();) {
        const size_t size = readNumber(file, position);
        const std::string type = file.substr(position + 4, 4);
        const size_t data = position + 8;
        if (type == "IHDR") {
            m_width = readNumber(file, data);
            m_height = readNumber(file, data + 4);
            const char colourType = file.at(data + 9);
            if (file.at(data + 8) != 8 || (colourType != 2 && colourType != 6) || file.at(data + 12) != 0)
                throw std::runtime_error("A PNG file of another kind.");
            m_bytesOfAPixel = colourType == 2 ? 3 : 4;
        } else if (type == "IDAT")
            packed += file.substr(data, size);
        position = data + size + 4;
    }
    const size_t bytesOfARow = m_width * m_bytesOfAPixel;
    std::vector<uint8_t> rows(m_height * (bytesOfARow + 1)); // each after its filter
    uLongf size = rows.size();
    if (::uncompress(rows.data(), &size, reinterpret_cast<const Bytef*>(packed.data()), packed.size()) != Z_OK ||
        size != rows.size())
        throw std::runtime_error("A damaged PNG file.");
    m_bytes.resize(m_height * bytesOfARow);
    for (size_t y = 0; y < m_height; ++y)
        for (size_t index = 0; index < bytesOfARow; ++index) {
            const size_t here = y * bytesOfARow + index;
            const bool isFirst = index < m_bytesOfAPixel;
            const uint8_t left = isFirst ? uint8_t(0) : m_bytes[here - m_bytesOfAPixel];
            const uint8_t above = y == 0 ? uint8_t(0) : m_bytes[here - bytesOfARow];
            const uint8_t aboveLeft = isFirst || y == 0 ? uint8_t(0) : m_bytes[here - bytesOfARow - m_bytesOfAPixel];
            const uint8_t* const row = &rows[y * (bytesOfARow + 1)];
            m_bytes[here] = static_cast<uint8_t>(row[1 + index] + undoFilter(row[0], left, above, aboveLeft));
        }
}

uint32_t PngImage::getColour(const size_t x, const size_t y) const {
    const uint8_t* const pixel = &m_bytes.at((y * m_width + x) * m_bytesOfAPixel);
    return uint32_t(pixel[0]) << 16 | uint32_t(pixel[1]) << 8 | pixel[2];
}

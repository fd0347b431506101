#include "Reader/CharacterClass.h"

#include <cstddef>

namespace Rdf::CharacterClass {

bool isNameStart(const uint32_t character) noexcept {
    // The first and the last of each range.
    constexpr std::array<uint32_t, 24> RANGES{0xC0,   0xD6,   0xD8,   0xF6,   0xF8,   0x2FF,  0x370,   0x37D,
                                              0x37F,  0x1FFF, 0x200C, 0x200D, 0x2070, 0x218F, 0x2C00,  0x2FEF,
                                              0x3001, 0xD7FF, 0xF900, 0xFDCF, 0xFDF0, 0xFFFD, 0x10000, 0xEFFFF};
    for (std::size_t index = 0; index < RANGES.size(); index += 2)
        if (character >= RANGES[index] && character <= RANGES[index + 1])
            return true;
    return false;
}

bool isNamePart(const uint32_t character) noexcept {
    return character == 0xB7 || (character >= 0x300 && character <= 0x36F) || character == 0x203F ||
           character == 0x2040 || isNameStart(character);
}

} // namespace Rdf::CharacterClass

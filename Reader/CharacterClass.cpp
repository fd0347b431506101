#include "Reader/CharacterClass.h"

#include <algorithm>

namespace Rdf::CharacterClass {

namespace {

struct Range {
    uint32_t m_first;
    uint32_t m_last;
};

constexpr std::array<Range, 12> NAME_START{{{0xC0, 0xD6},
                                            {0xD8, 0xF6},
                                            {0xF8, 0x2FF},
                                            {0x370, 0x37D},
                                            {0x37F, 0x1FFF},
                                            {0x200C, 0x200D},
                                            {0x2070, 0x218F},
                                            {0x2C00, 0x2FEF},
                                            {0x3001, 0xD7FF},
                                            {0xF900, 0xFDCF},
                                            {0xFDF0, 0xFFFD},
                                            {0x10000, 0xEFFFF}}};

} // namespace

bool isNameStart(const uint32_t character) noexcept {
    return std::any_of(NAME_START.begin(), NAME_START.end(), [character](const Range& range) {
        return character >= range.m_first && character <= range.m_last;
    });
}

bool isNamePart(const uint32_t character) noexcept {
    return character == 0xB7 || (character >= 0x300 && character <= 0x36F) || character == 0x203F ||
           character == 0x2040 || isNameStart(character);
}

} // namespace Rdf::CharacterClass

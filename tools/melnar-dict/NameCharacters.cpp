#include "tools/melnar-dict/NameCharacters.h"

#include "tools/melnar-dict/Utf8.h"

bool startsBlankNodeLabel(const char* const label) noexcept {
    // Inside a name these are allowed as well; everything else that is allowed inside is allowed at the start.
    const uint32_t first = decodeUtf8(label);
    return first != '-' && first != '.' && first != 0xB7 && (first < 0x300 || first > 0x36F) &&
           (first < 0x203F || first > 0x2040);
}

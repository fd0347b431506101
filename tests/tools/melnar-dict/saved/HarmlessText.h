#pragma once

#include "Reader/Utf8.h"

#include <cstdint>
#include <string>

/// Returns whether a text cannot control a terminal: UTF-8 without control characters except tabs and line feeds.
inline bool isHarmless(const std::string& text) {
    const char* const end = text.data() + text.size();
    if (Rdf::Utf8::findInvalid(text.data(), end) != end)
        return false;
    for (const char* current = text.data(); current != end; current += Rdf::Utf8::getLength(current, end)) {
        const uint32_t character = Rdf::Utf8::decode(current);
        if ((character < 0x20 && character != '\n' && character != '\t') || (character >= 0x7F && character < 0xA0))
            return false;
    }
    return true;
}

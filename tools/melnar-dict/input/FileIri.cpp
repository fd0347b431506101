#include "tools/melnar-dict/input/FileIri.h"

#include "tools/melnar-dict/shell/StandardStream.h"

#include "Reader/ByteScan.h"

#include <cstdint>
#include <filesystem>
#include <string_view>

std::string iriOfFile(const std::string& fileName) {
    const std::string path = fileName == STANDARD_STREAM ? "/dev/stdin" : std::filesystem::absolute(fileName).string();
    std::string iri("file://");
    for (const char character : path) {
        constexpr std::string_view DIGITS = "0123456789ABCDEF";
        const auto byte = static_cast<uint8_t>(character);
        if (Rdf::ByteScan::IriStop::matches(byte) || byte >= 0x80 ||
            std::string_view("%?#").find(character) != std::string_view::npos)
            iri.append("%").append(1, DIGITS[byte >> 4]).append(1, DIGITS[byte & 15]);
        else
            iri += character;
    }
    return iri;
}

#include "Engine/core/platform/StringEscaping.h"

#include "Engine/core/platform/stream/OutputStream.h"

#include <array>
#include <cstdint>

namespace {

/// The text that represents one byte; empty for a byte that is written unchanged.
struct Escape {
    char m_text[7];
    uint8_t m_length;
};

constexpr std::array<Escape, 256> ESCAPES = [] {
    constexpr char HEXADECIMAL_DIGITS[] = "0123456789ABCDEF";
    std::array<Escape, 256> escapes{};
    for (unsigned byte = 0; byte < 0x80; ++byte)
        if (byte < 0x20 || byte == 0x7F)
            escapes[byte] = {{'\\', 'u', '0', '0', HEXADECIMAL_DIGITS[byte >> 4], HEXADECIMAL_DIGITS[byte & 0xF], 0},
                             6};
    escapes['"'] = {{'\\', '"'}, 2};
    escapes['\\'] = {{'\\', '\\'}, 2};
    escapes['\n'] = {{'\\', 'n'}, 2};
    escapes['\r'] = {{'\\', 'r'}, 2};
    escapes['\t'] = {{'\\', 't'}, 2};
    escapes['\b'] = {{'\\', 'b'}, 2};
    escapes['\f'] = {{'\\', 'f'}, 2};
    return escapes;
}();

/// Passes the escaped text to `write(const char*, size_t)`, each run of unchanged bytes in one call.
template<class Write>
void escape(const char* const begin, const char* const end, const Write& write) {
    const char* runBegin = begin;
    for (const char* current = begin; current != end; ++current) {
        const Escape& escape = ESCAPES[static_cast<uint8_t>(*current)];
        if (escape.m_length != 0) {
            if (runBegin != current)
                write(runBegin, static_cast<size_t>(current - runBegin));
            write(escape.m_text, escape.m_length);
            runBegin = current + 1;
        }
    }
    if (runBegin != end)
        write(runBegin, static_cast<size_t>(end - runBegin));
}

} // namespace

void printStringEscaped(OutputStream& output, const char* const begin, const char* const end) {
    escape(begin, end, [&output](const char* const data, const size_t size) { output.write(data, size); });
}

void appendStringEscaped(std::string& output, const char* const begin, const char* const end) {
    escape(begin, end, [&output](const char* const data, const size_t size) { output.append(data, size); });
}

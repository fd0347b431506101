#include "Reader/IriReference.h"

#include "Reader/Escape.h"
#include "Reader/Utf8.h"

#include <algorithm>

namespace Rdf {

const char* readEscapedIriReference(TextWindow& window, const char* const opening, const char* stop,
                                    std::string_view& iri) {
    const char* begin = opening + 1;
    const char* const closing = ByteScan::find<ByteScan::AnyOf<'>', '\n'>>(begin, window.getEnd());
    char* const text = window.getArena().allocate(static_cast<size_t>(closing - begin));
    char* output = text;
    for (;;) {
        output = std::copy(begin, stop, output);
        const int byte = window.peek(stop);
        if (byte == '>')
            break;
        if (byte == TextWindow::END || byte == '\n' || byte == '\r')
            return window.failUnclosed(opening, "IRI", stop, "'>'");
        const int kind = byte == '\\' ? window.peek(stop + 1) : TextWindow::END;
        if (kind != 'u' && kind != 'U')
            return window.failExpected(stop, "a character of an IRI or '>'");
        uint32_t character;
        const char* const escapeEnd = readUnicodeEscape(window, stop, character);
        if (escapeEnd == nullptr)
            return nullptr;
        if (character < 0x80 && ByteScan::IriStop::matches(static_cast<uint8_t>(character)))
            return window.fail(stop, "expected a character that an IRI can hold, found '" +
                                         std::string(stop, escapeEnd) + "'");
        output = Utf8::encode(character, output);
        begin = escapeEnd;
        stop = ByteScan::find<ByteScan::IriStop>(begin, closing);
    }
    iri = std::string_view(text, static_cast<size_t>(output - text));
    return stop + 1;
}

} // namespace Rdf

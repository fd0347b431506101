#include "Reader/QuotedString.h"

#include "Reader/Escape.h"

#include <algorithm>
#include <cstring>

namespace Rdf {

namespace {

template<char QUOTE>
const char* findLongStringStop(const char* const at, const char* const end) noexcept {
    return ByteScan::find<ByteScan::AnyOf<QUOTE, '\\'>>(at, end);
}

/// Unescapes what stands between quotes, in one pass from left to right.
const char* unescape(TextWindow& window, const char* at, const char* const end, std::string_view& text) {
    const size_t size = static_cast<size_t>(end - at);
    char* const begin = window.getArena().allocate(size);
    char* output = begin;
    while (at != end) {
        const void* const found = std::memchr(at, '\\', static_cast<size_t>(end - at));
        const char* const escape = found == nullptr ? end : static_cast<const char*>(found);
        output = std::copy(at, escape, output);
        if (escape == end)
            break;
        at = readStringEscape(window, escape, output);
        if (at == nullptr)
            return nullptr;
    }
    text = std::string_view(begin, static_cast<size_t>(output - begin));
    return end;
}

const char* readLongString(TextWindow& window, const char* const opening, std::string_view& text) {
    const char* const begin = opening + 3;
    const char* const closing =
        window.isKnownUnclosed(*opening) ? window.getEnd() : findLongStringEnd(begin, window.getEnd(), *opening);
    if (closing == window.getEnd()) {
        window.setKnownUnclosed(*opening);
        return window.failUnclosed(opening, "string", closing, "its closing quotes");
    }
    const size_t size = static_cast<size_t>(closing - begin);
    text = std::string_view(begin, size);
    if (text.find('\\') != text.npos && unescape(window, begin, closing, text) == nullptr)
        return nullptr;
    return closing + 3;
}

} // namespace

const char* readEscapedString(TextWindow& window, const char* const opening, const char* stop, std::string_view& text) {
    const char* const end = window.getEnd();
    const auto isEscape = [&] { return end - stop > 1 && *stop == '\\' && stop[1] != '\n' && stop[1] != '\r'; };
    while (isEscape())
        stop = *opening == '"' ? ByteScan::find<ByteScan::AnyOf<'"', '\\', '\n', '\r'>>(stop + 2, end)
                               : ByteScan::find<ByteScan::AnyOf<'\'', '\\', '\n', '\r'>>(stop + 2, end);
    if (!window.is(stop, *opening)) {
        if (stop != end && *stop == '\\')
            ++stop;
        return window.failUnclosed(opening, "string", stop, "its closing quote");
    }
    return unescape(window, opening + 1, stop, text) == nullptr ? nullptr : stop + 1;
}

const char* readTurtleString(TextWindow& window, const char* const opening, std::string_view& text) {
    if (!window.is(opening + 1, *opening))
        return readShortString(window, opening, text);
    if (window.is(opening + 2, *opening))
        return readLongString(window, opening, text);
    text = std::string_view(opening + 1, 0);
    return opening + 2;
}

const char* findLongStringEnd(const char* at, const char* const end, const char quote) noexcept {
    for (;;) {
        at = quote == '"' ? findLongStringStop<'"'>(at, end) : findLongStringStop<'\''>(at, end);
        if (end - at < 3)
            return end;
        if (*at == '\\')
            at += 2;
        else if (at[1] != quote)
            at += 1;
        else if (at[2] != quote)
            at += 2;
        else
            return at;
    }
}

} // namespace Rdf

#pragma once

#include "Reader/ByteScan.h"
#include "Reader/TextWindow.h"

#include <cstdint>
#include <string_view>

namespace Rdf {

/// Reads \uXXXX or \UXXXXXXXX, whose backslash stands here: the number of a character, which is no surrogate.
const char* readUnicodeEscape(TextWindow& window, const char* at, uint32_t& character);

/// Reads a string on one line, with an escape in it or with something wrong; `stop` is the first such place.
const char* readEscapedString(TextWindow& window, const char* opening, const char* stop, std::string_view& text);

/// Reads a string on one line, whose opening quote stands here, and unescapes it.
inline const char* readShortString(TextWindow& window, const char* const opening, std::string_view& text) {
    const char* const begin = opening + 1;
    // Nearly all quotes are double: what the compiler knows of them costs nothing.
    const char* const stop = *opening == '"' ? ByteScan::find(begin, window.getEnd(), ByteScan::StringStop{'"'})
                                             : ByteScan::find(begin, window.getEnd(), ByteScan::StringStop{'\''});
    if (!window.is(stop, *opening)) [[unlikely]]
        return readEscapedString(window, opening, stop, text);
    text = std::string_view(begin, static_cast<size_t>(stop - begin));
    return stop + 1;
}

/// Reads a string of Turtle between three quotes, or an empty one.
const char* readLongString(TextWindow& window, const char* opening, std::string_view& text);

/// Reads a string of Turtle, on one line in quotes of either kind or between three of them.
inline const char* readTurtleString(TextWindow& window, const char* const opening, std::string_view& text) {
    return window.is(opening + 1, *opening) ? readLongString(window, opening, text)
                                            : readShortString(window, opening, text);
}

/// Returns the closing quote of a string on one line whose text goes on here, or what is wrong: the end of the line, a
/// backslash before it, or the end.
const char* findShortStringEnd(const char* at, const char* end, char quote) noexcept;

/// Returns where a string that goes on here, after its three opening quotes, has its three closing ones; or, less than
/// three bytes before the end, from where to look for them in more text.
const char* findLongStringEnd(const char* at, const char* end, char quote) noexcept;

} // namespace Rdf

#pragma once

#include "Reader/ByteScan.h"
#include "Reader/TextWindow.h"

#include <cstdint>
#include <string_view>

namespace Rdf {

/// Reads \uXXXX or \UXXXXXXXX from its backslash: the number of a character that is not a surrogate.
const char* readUnicodeEscape(TextWindow& window, const char* at, uint32_t& character);

/// Reads a string on one line with an escape or an error; `stop` is the first such position.
const char* readEscapedString(TextWindow& window, const char* opening, const char* stop, std::string_view& text);

/// Reads a string on one line from its opening quote, and unescapes it.
inline const char* readShortString(TextWindow& window, const char* const opening, std::string_view& text) {
    const char* const begin = opening + 1;
    // Nearly all quotes are double: a constant that the compiler knows makes them fast.
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

/// Returns the closing quote of a string on one line whose text continues here, or the position of an error: the end of
/// the line, a backslash before it, or the end.
const char* findShortStringEnd(const char* at, const char* end, char quote) noexcept;

/// Returns the position of the three closing quotes of a string that continues here, after its three opening ones; or,
/// less than three bytes before the end, the position from which to search for them in more text.
const char* findLongStringEnd(const char* at, const char* end, char quote) noexcept;

} // namespace Rdf

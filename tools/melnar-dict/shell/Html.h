#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <vector>

/// A piece of an HTML page: markup. Text becomes markup only by being escaped, so no text ever acts as markup.
///
/// Errors  std::bad_alloc.
class Html {
public:
    Html() = default;

    /// Returns any bytes as text, for elements and for attributes in double quotes. Control characters and bytes that
    /// are not UTF-8 become U+FFFD, since HTML does not allow them.
    static Html ofText(std::string_view text);

    /// Fills a pattern: markup that contains a "{}" for each value. Texts are escaped, pieces are not, and numbers have
    /// two digits after the point unless they are whole.
    template<class... Values>
    static Html fill(const std::string_view pattern, const Values&... values) {
        return fillMarkups(pattern, {toMarkup(values)...});
    }

    Html& append(const Html& piece) {
        m_markup += piece.m_markup;
        return *this;
    }

    const std::string& getMarkup() const noexcept { return m_markup; }

private:
    static std::string toMarkup(const Html& piece) { return piece.m_markup; }
    static std::string toMarkup(const std::string_view text) { return ofText(text).m_markup; }
    static std::string toMarkup(const std::integral auto number) { return std::to_string(number); }

    static std::string toMarkup(double number);

    static Html fillMarkups(std::string_view pattern, const std::vector<std::string>& markups);

    std::string m_markup;
};

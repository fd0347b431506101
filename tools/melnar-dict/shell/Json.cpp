#include "tools/melnar-dict/shell/Json.h"

#include <nlohmann/json.hpp>

namespace {

/// Escapes U+007F to U+009F, which JSON allows in strings, but a terminal may obey.
std::string escapeFurtherControls(const std::string& text) {
    constexpr const char* DIGITS = "0123456789abcdef";
    std::string escaped;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool isPair = text[at] == '\xC2'; // with the next byte U+0080 to U+00BF
        const auto last = static_cast<unsigned char>(text[at + isPair]);
        if (isPair ? last < 0xA0 : last == 0x7F) {
            escaped.append("\\u00").append({DIGITS[last >> 4], DIGITS[last & 0xF]});
            at += isPair;
        } else
            escaped += text[at];
    }
    return escaped;
}

} // namespace

std::string toText(const Json& json, const JsonLayout layout) {
    return escapeFurtherControls(
               json.dump(layout == JsonLayout::DOCUMENT ? 2 : -1, ' ', false, Json::error_handler_t::replace)) +
           '\n';
}

void printError(const std::string& error, const ExitCode exitCode, const JsonLayout layout, StandardOutput& output) {
    output.write(toText(Json{{"error", error}, {"exitCode", static_cast<int>(exitCode)}}, layout));
    output.flush();
}

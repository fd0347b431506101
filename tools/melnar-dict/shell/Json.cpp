#include "tools/melnar-dict/shell/Json.h"

#include <nlohmann/json.hpp>

std::string toText(const Json& json, const JsonLayout layout) {
    std::string text = json.dump(layout == JsonLayout::DOCUMENT ? 2 : -1, ' ', false, Json::error_handler_t::replace);
    text += '\n';
    return text;
}

void printError(const std::string& error, const ExitCode exitCode, const JsonLayout layout, StandardOutput& output) {
    output.write(toText(Json{{"error", error}, {"exitCode", static_cast<int>(exitCode)}}, layout));
    output.flush();
}

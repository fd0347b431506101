#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

/// The JSON that the tool prints; keys keep the order in which they are set.
using Json = nlohmann::ordered_json;

/// The layout of JSON: indented lines for one document, or one line for each of many rows.
enum class JsonLayout { DOCUMENT, ROW };

/// Returns the JSON with a line feed at its end. Bytes that are not UTF-8 become U+FFFD, since JSON does not allow
/// them. All control characters are escaped, so that the text has no effect on a terminal.
std::string toText(const Json& json, JsonLayout layout);

/// Prints the error that has ended a verb, in addition to the message on standard error: an object with the keys
/// `error` and `exitCode`.
void printError(const std::string& error, ExitCode exitCode, JsonLayout layout, StandardOutput& output);

#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

/// What the tool prints as JSON; keys keep the order in which they are set.
using Json = nlohmann::ordered_json;

/// How JSON is laid out: over indented lines for one document, or in a line for one row of many.
enum class JsonLayout { DOCUMENT, ROW };

/// Returns the JSON with a line feed at its end. Bytes that are not UTF-8 become U+FFFD, since JSON has no others. All
/// control characters are escaped, so that the text can do nothing to a terminal.
std::string toText(const Json& json, JsonLayout layout);

/// Prints what has ended a verb, which is none the less to be told on standard error: an object with the keys `error`
/// and `exitCode`.
void printError(const std::string& error, ExitCode exitCode, JsonLayout layout, StandardOutput& output);

#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

/// What the tool prints as JSON; keys keep the order in which they are set.
using Json = nlohmann::ordered_json;

/// How JSON is laid out: over indented lines for one document, or in a line for one row of many.
enum class JsonLayout { DOCUMENT, ROW };

/// Returns the JSON with a line feed at its end. Bytes that are not UTF-8 become U+FFFD, since JSON has no others.
std::string toText(const Json& json, JsonLayout layout);

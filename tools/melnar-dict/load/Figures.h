#pragma once

#include "tools/melnar-dict/shell/Json.h"

#include <string>
#include <vector>

/// A figure of a report: its name in a table, its key in JSON, and its value as both write it.
struct Figure {
    const char* m_name;
    const char* m_jsonName;
    std::string m_value;
};

using Figures = std::vector<Figure>;

/// Returns a table with one line per figure.
std::string toTable(const Figures& figures);

/// Returns a JSON object with one member per figure.
Json makeJson(const Figures& figures);

std::string toFixed(double value, int decimals);

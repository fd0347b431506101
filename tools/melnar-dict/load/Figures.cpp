#include "tools/melnar-dict/load/Figures.h"

#include <nlohmann/json.hpp>

#include <cstdio>

std::string toTable(const Figures& figures) {
    std::string text;
    for (const Figure& figure : figures) {
        char line[600];
        std::snprintf(line, sizeof line, "%-28s %12s\n", figure.m_name, figure.m_value.c_str());
        text += line;
    }
    return text;
}

Json makeJson(const Figures& figures) {
    Json json;
    for (const Figure& figure : figures)
        json[figure.m_jsonName] = Json::parse(figure.m_value);
    return json;
}

std::string toFixed(const double value, const int decimals) {
    char text[512]; // enough for the largest double
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

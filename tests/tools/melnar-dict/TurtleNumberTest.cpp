#include "tools/melnar-dict/TurtleNumber.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

std::string numberAtStartOf(const std::string& text) {
    return {text.data(), findNumberEnd(text.data(), text.data() + text.size())};
}

TEST(TurtleNumberTest, takesTheLongestNumber) {
    const std::vector<std::pair<std::string, std::string>> expected{
        {"1", "1"},      {"123.", "123"},   {"123. ", "123"}, {"123.4", "123.4"},  {"123.4.", "123.4"},
        {"-1.", "-1"},   {"+1.5x", "+1.5"}, {".5", ".5"},     {".5.", ".5"},       {"-.5e1", "-.5e1"},
        {"1e5", "1e5"},  {"1E+5.", "1E+5"}, {"1.e5", "1.e5"}, {"1.E-5.", "1.E-5"}, {"1.5e3", "1.5e3"},
        {"1.e", "1"},    {"1.ex:p", "1"},   {"1e", "1"},      {"1e+", "1"},        {"1ex:p", "1"},
        {"1.5e", "1.5"}, {"1.5.5", "1.5"},  {"1-1", "1"},     {"007", "007"},
    };
    for (const auto& [text, number] : expected)
        EXPECT_EQ(number, numberAtStartOf(text)) << text;
}

TEST(TurtleNumberTest, takesNothingWhereNoNumberStarts) {
    for (const std::string text : {"", ".", "+", "-", "+.", "-.", ".e5", "e5", "+-1", "..5", "x1", " 1"})
        EXPECT_EQ("", numberAtStartOf(text)) << text;
}

} // namespace

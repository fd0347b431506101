#include "tests/Reader/ReadText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using namespace Rdf;

std::string repeat(const std::string& text, const size_t times) {
    std::string result;
    for (size_t index = 0; index < times; ++index)
        result += text;
    return result;
}

struct Brackets {
    Syntax m_syntax;
    std::string m_before;
    std::string m_opening;
    std::string m_middle;
    std::string m_closing;
};

const std::vector<Brackets> ALL_BRACKETS{
    {Syntax::TURTLE, "<a:s> <a:p> ", "[ <a:p> ", "1", "]"},
    {Syntax::TURTLE, "<a:s> <a:p> ", "(", "1", ")"},
    {Syntax::TURTLE, "<a:s> <a:p> ", "<< <a:s> <a:p> ", "1", ">>"},
    {Syntax::TURTLE, "<a:s> <a:p> ", "<<( <a:s> <a:p> ", "1", ")>>"},
    {Syntax::TURTLE, "<a:s> <a:p> <a:o>", "{| <a:p> <a:o> ", "", "|}"},
    {Syntax::N_TRIPLES, "<a:s> <a:p> ", "<<( <a:s> <a:p> ", "\"1\"", ")>>"},
};

std::string nest(const Brackets& brackets, const size_t depth) {
    return brackets.m_before + repeat(brackets.m_opening, depth) + brackets.m_middle +
           repeat(brackets.m_closing, depth) + " .";
}

TEST(NestingTest, theLimitIsExact) {
    for (const Brackets& brackets : ALL_BRACKETS) {
        ReaderOptions options = strict(brackets.m_syntax);
        options.m_maximumNesting = 5;
        EXPECT_NE("", statementsOf(nest(brackets, 5), options));
        const size_t column = brackets.m_before.size() + 5 * brackets.m_opening.size() + 1;
        EXPECT_EQ("1:" + std::to_string(column) + ": expected at most 5 brackets within each other, found one more",
                  errorOf(nest(brackets, 6), options));
        options.m_maximumNesting = 0;
        EXPECT_EQ("1:" + std::to_string(brackets.m_before.size() + 1) +
                      ": expected at most 0 brackets within each other, found one more",
                  errorOf(nest(brackets, 1), options));
    }
}

TEST(NestingTest, noDepthExhaustsTheStack) {
    for (const Brackets& brackets : ALL_BRACKETS) {
        ReaderOptions options = strict(brackets.m_syntax);
        options.m_maximumNesting = 1'000'000;
        // The canonical forms of nested triple terms are long; counting suffices.
        const std::string text =
            nest(brackets, brackets.m_closing == "|}" || brackets.m_closing == ">>" ? 300 : 100'000);
        EXPECT_NE("", statementsOf(text, options));
        options.m_isLenient = true;
        EXPECT_EQ(1u, readText(brackets.m_before + repeat(brackets.m_opening, 300'000), options).m_errors.size());
    }
}

TEST(NestingTest, theDefaultAllowsAThousand) {
    EXPECT_NE("", statementsOf(nest(ALL_BRACKETS[0], 1000), strict(Syntax::TURTLE)));
    EXPECT_EQ(1u, readText(nest(ALL_BRACKETS[0], 1001), strict(Syntax::TURTLE)).m_errors.size());
}

} // namespace

#include "tools/melnar-dict/saved/LiteralLines.h"

#include "Engine/core/platform/MelnarException.h"

#include <gtest/gtest.h>

#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

// What only the dictionary finds wrong.
const std::string MALFORMED = "\"x@en-\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral>";

class LiteralLinesTest : public testing::Test {
protected:
    LiteralLinesTest()
        : m_lines({[this](const std::span<BatchEntry> literals, std::vector<BatchFailure>& failures) {
                       for (size_t index = 0; index < literals.size(); ++index)
                           if (literals[index].m_lexicalForm == m_failingForm)
                               failures.push_back({index, m_failure});
                   },
                   [this](const BatchEntry& literal) { m_taken.emplace_back(literal.m_lexicalForm); },
                   [this](const uint64_t line, const std::string& cause) {
                       m_taken.push_back(std::to_string(line) + ": " + cause);
                   }}) {}

    /// Makes the dictionary fail for a literal.
    template<class Exception>
    void failFor(std::string lexicalForm, const Exception& exception) {
        m_failingForm = std::move(lexicalForm);
        m_failure = std::make_exception_ptr(exception);
    }

    std::string m_failingForm = "none";
    std::exception_ptr m_failure;
    std::vector<std::string> m_taken; // literals and errors
    LiteralLines m_lines;
};

TEST_F(LiteralLinesTest, handsOutLiteralsAndErrorsInTheOrderOfTheLines) {
    m_lines.parse("\"a\"\n<a:b>\n\"b\"@en\n");
    m_lines.parse("\"5\"^^<a:t>\n\"c\"\n");
    EXPECT_EQ((std::vector<std::string>{"a", "2: not a string literal", "b@en", "4: not a string literal", "c"}),
              m_taken);
}

TEST_F(LiteralLinesTest, aLineIsNotALiteralWithSomethingElse) {
    m_lines.parse("\"a\" . #\n\"a\" <g:> . #\n\"a\" <g:> .\n\"a\" #\n\"a\" .\n\"a\rb\"\n\"b\"\r\n \"c\" \n\n<<( <a:s> "
                  "<a:p> \"d\" )>>\n");
    ASSERT_EQ(10u, m_taken.size());
    EXPECT_EQ("b", m_taken[6]);
    EXPECT_EQ("c", m_taken[7]);
    for (const size_t index : {0u, 1u, 2u, 3u, 4u, 5u, 8u, 9u})
        EXPECT_TRUE(m_taken[index].starts_with(std::to_string(index + 1) + ": ")) << m_taken[index];
}

TEST_F(LiteralLinesTest, aRefusedLiteralIsAnErrorOfItsLine) {
    failFor("x@en-", MelnarException("file", 1, MelnarException::NO_CAUSES, "malformed"));
    m_lines.parse("\"a\"\n" + MALFORMED + "\n");
    m_lines.parse(MALFORMED + "\n" + MALFORMED + "\n\"b\"\n");
    EXPECT_EQ((std::vector<std::string>{"a", "2: malformed", "3: malformed", "4: malformed", "b"}), m_taken);
}

TEST_F(LiteralLinesTest, anotherFailureIsThrownBehindTheAnswersBeforeIt) {
    failFor("x@en", MelnarException("file", 1, MelnarException::NO_CAUSES, "a limit"));
    EXPECT_THROW(m_lines.parse("\"a\"\nbad\n\"x\"@en\n\"b\"\n"), MelnarException);
    EXPECT_EQ(2u, m_taken.size());
    failFor("x@en-", std::bad_alloc());
    EXPECT_THROW(m_lines.parse("\"c\"\n" + MALFORMED + "\n"), std::bad_alloc)
        << "malformed, but that is not what failed";
    EXPECT_EQ(3u, m_taken.size());
}

} // namespace

#include "tools/melnar-dict/saved/TermLines.h"

#include "Engine/core/platform/MelnarException.h"

#include <gtest/gtest.h>

#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

// A term that only the dictionary refuses.
const std::string MALFORMED = "\"x@en-\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral>";

class TermLinesTest : public testing::Test {
protected:
    TermLinesTest()
        : m_lines({[this](const std::span<BatchEntry> terms, std::vector<BatchFailure>& failures) {
                       for (size_t index = 0; index < terms.size(); ++index)
                           if (terms[index].m_lexicalForm == m_failingForm)
                               failures.emplace_back(index, m_kind, m_failure);
                   },
                   [this](const BatchEntry& term) { m_taken.emplace_back(term.m_lexicalForm); },
                   [this](const InputError& error) {
                       m_taken.push_back(std::to_string(error.m_line) + ": " + error.m_cause);
                   }}) {}

    /// Makes the dictionary fail for a term.
    template<class Exception>
    void failFor(std::string lexicalForm, const FailureKind reason, const Exception& exception) {
        m_failingForm = std::move(lexicalForm);
        m_kind = reason;
        m_failure = std::make_exception_ptr(exception);
    }

    void parse(const std::string& text) {
        m_lines.addLines(text);
        m_lines.answer();
    }

    std::string m_failingForm = "none";
    FailureKind m_kind = FailureKind::SYSTEM;
    std::exception_ptr m_failure;
    std::vector<std::string> m_taken; // terms and errors
    TermLines m_lines;
};

TEST_F(TermLinesTest, handsOutTermsAndErrorsInTheOrderOfTheLines) {
    parse("\"a\"\nb\n\"b\"@en\n");
    parse("<a>\n<a:\\u0062>\r\n 'd' \n_:x\n\"5\"^^xsd:int\n\"x\"@en--ltr\n<<(_:s <a:p> \"o\")>>");
    EXPECT_EQ(
        (std::vector<std::string>{"a", "2: expected a term, found 'b'; did you mean '\"b\"'?", "b@en",
                                  "4: expected an absolute IRI, found '<a>'", "a:b", "d", "x",
                                  "5^^http://www.w3.org/2001/XMLSchema#int", "x@en--ltr", "<<( _:s <a:p> \"o\" )>>"}),
        m_taken);
}

TEST_F(TermLinesTest, termsOfAGroupStayUntilItIsAnswered) {
    std::string lines;
    std::vector<std::string> expected;
    for (int number = 0; number < 5000; ++number) {
        const std::string text = std::to_string(number);
        lines += number % 2 == 0 ? "\"" + text + "\\n\"^^xsd:x" + text + "\n" : "<a:\\u0062" + text + ">\n";
        expected.push_back(number % 2 == 0 ? text + "\n^^http://www.w3.org/2001/XMLSchema#x" + text : "a:b" + text);
    }
    for (int group = 0; group < 2; ++group) {
        m_taken.clear();
        parse(lines);
        EXPECT_EQ(expected, m_taken);
    }
}

TEST_F(TermLinesTest, takesTextsOfSeveralLinesOneByOne) {
    m_lines.add("\"\"\"a\nb\"\"\"");
    m_lines.add("\"a\"\n\"b\"");
    EXPECT_TRUE(m_taken.empty()) << "not answered yet";
    m_lines.answer();
    EXPECT_EQ((std::vector<std::string>{"a\nb", "2: expected the end of the term, found '\"'"}), m_taken);
    m_lines.answer();
    EXPECT_EQ(2u, m_taken.size());
}

TEST_F(TermLinesTest, aRefusedTermIsAnErrorOfItsLine) {
    failFor("x@en-", FailureKind::REFUSED_LITERAL, MelnarException("file", 1, MelnarException::NO_CAUSES, "malformed"));
    parse("\"a\"\n" + MALFORMED + "\n");
    parse(MALFORMED + "\n" + MALFORMED + "\n\"b\"\n");
    EXPECT_EQ((std::vector<std::string>{"a", "2: malformed", "3: malformed", "4: malformed", "b"}), m_taken);
}

TEST_F(TermLinesTest, anotherFailureIsThrownAfterTheAnswersBeforeIt) {
    failFor("x@en", FailureKind::FULL,
            MelnarException(FailureKind::FULL, "file", 1, MelnarException::NO_CAUSES, "a limit"));
    EXPECT_THROW(parse("\"a\"\nbad\n\"x\"@en\n\"b\"\n"), MelnarException);
    EXPECT_EQ(2u, m_taken.size());
    failFor("x@en-", FailureKind::SYSTEM, std::bad_alloc());
    EXPECT_THROW(parse("\"c\"\n" + MALFORMED + "\n"), std::bad_alloc) << "malformed, but that is not what failed";
    EXPECT_EQ(3u, m_taken.size());
}

} // namespace

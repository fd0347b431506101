#include "tools/melnar-dict/load/Lookup.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace {

class LookupTest : public testing::Test {
protected:
    LookupTest() : m_dictionary(size_t(64) << 20, 1000), m_thread(m_dictionary) {
        m_dictionary.resolveResource(m_thread, "plain", D_XSD_STRING);          // 1
        m_dictionary.resolveResource(m_thread, "text@en", D_RDF_PLAIN_LITERAL); // 2
        m_dictionary.resolveResource(m_thread, "x@", D_XSD_STRING);             // 3
        m_dictionary.resolveResource(m_thread, "a \"b\"\n", D_XSD_STRING);      // 4
        m_dictionary.resolveResource(m_thread, "", D_XSD_STRING);               // 5
        m_dictionary.commit();
        m_dictionary.resolveResource(m_thread, "uncommitted", D_XSD_STRING); // 6
    }

    Lookup answer(Lookup lookup) const {
        lookup.answer(m_dictionary);
        return lookup;
    }

    std::string find(const std::string& literal) const { return answer(Lookup::ofLiteral(literal)).toText(); }
    std::string get(const uint64_t resourceID) const { return answer(Lookup::ofResourceID(resourceID)).toText(); }

    Dictionary m_dictionary;
    DictionaryThread m_thread;
};

TEST_F(LookupTest, findsTheIDOfALiteral) {
    EXPECT_EQ("1\t\"plain\"\n", find("\"plain\""));
    EXPECT_EQ("2\t\"text\"@en\n", find("'text'@en"));
    EXPECT_EQ("4\t\"a \\\"b\\\"\\n\"\n", find("\"\"\"a \"b\"\n\"\"\""));
    EXPECT_EQ("5\t\"\"\n", find("\"\""));
}

TEST_F(LookupTest, takesALiteralOfRdfPlainLiteralForWhatTheDictionaryMakesOfIt) {
    EXPECT_EQ("2\t\"text\"@en\n", find("\"text@en\"^^rdf:PlainLiteral"));
    EXPECT_EQ("3\t\"x@\"\n", find("\"x@\""));
    EXPECT_EQ("3\t\"x@\"\n", find("\"x@@\"^^rdf:PlainLiteral"));
    EXPECT_EQ("1\t\"plain\"\n", find("\"plain@\"^^rdf:PlainLiteral"));
    EXPECT_EQ("not found\t\"a@b\"@en-001\n", find("\"a@b\"@en-001"));
}

TEST_F(LookupTest, refusesWhatIsNoLiteralThatADictionaryCouldHave) {
    for (const auto& [text, message] :
         {std::pair("plain", "literal 'plain': expected a literal in quotes, found 'plain'; did you mean '\"plain\"'?"),
          {"\"x\"^^rdf:PlainLiteral", "literal '\"x\"^^rdf:PlainLiteral': an rdf:PlainLiteral needs an '@' and a "
                                      "language tag"},
          {"\"5\"^^<a:t>", "literal '\"5\"^^<a:t>': a literal of datatype <a:t> has no ID; those of xsd:string and "
                           "rdf:PlainLiteral have"}}) {
        const auto failure = catchException<ToolFailure>([&, literal = text] { Lookup::ofLiteral(literal); });
        EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
        EXPECT_EQ(message, std::string(failure.what()));
    }
}

TEST_F(LookupTest, tellsWhatIsNotThere) {
    EXPECT_EQ("not found\t\"Plain\"\n", find("\"Plain\""));
    EXPECT_EQ("not found\t\"text\"@EN\n", find("\"text\"@EN"));
    EXPECT_EQ("not found\t\"text\"\n", find("\"text\""));
    EXPECT_EQ("not found\t\"uncommitted\"\n", find("\"uncommitted\""));
    for (const uint64_t resourceID : {uint64_t(0), uint64_t(6), uint64_t(7), ~uint64_t(0)})
        EXPECT_EQ("not found\t" + std::to_string(resourceID) + "\n", get(resourceID));
}

TEST_F(LookupTest, findsTheLiteralOfAnID) {
    EXPECT_EQ("1\t\"plain\"\n", get(1));
    EXPECT_EQ("2\t\"text\"@en\n", get(2));
    EXPECT_EQ("5\t\"\"\n", get(5));
}

TEST_F(LookupTest, knowsWhetherItIsAnswered) {
    EXPECT_TRUE(answer(Lookup::ofLiteral("\"\"")).isAnswered());
    EXPECT_TRUE(answer(Lookup::ofResourceID(5)).isAnswered());
    EXPECT_FALSE(answer(Lookup::ofLiteral("\"absent\"")).isAnswered());
    EXPECT_FALSE(answer(Lookup::ofResourceID(6)).isAnswered());
    EXPECT_FALSE(answer(Lookup::ofResourceID(0)).isAnswered());
}

TEST_F(LookupTest, isJsonWithNullForWhatIsNotKnown) {
    const auto json = [this](const Lookup& lookup) { return answer(lookup).toJson(); };
    EXPECT_EQ((Json{{"question", "'text'@en"}, {"id", 2}, {"literal", "\"text\"@en"}}),
              json(Lookup::ofLiteral("'text'@en")));
    EXPECT_EQ((Json{{"question", "'no'"}, {"id", nullptr}, {"literal", "\"no\""}}), json(Lookup::ofLiteral("'no'")));
    EXPECT_EQ((Json{{"question", "1"}, {"id", 1}, {"literal", "\"plain\""}}), json(Lookup::ofResourceID(1)));
    EXPECT_EQ((Json{{"question", "9"}, {"id", 9}, {"literal", nullptr}}), json(Lookup::ofResourceID(9)));
}

} // namespace

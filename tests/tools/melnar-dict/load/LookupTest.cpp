#include "tools/melnar-dict/load/Lookup.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace {

class LookupTest : public testing::Test {
protected:
    LookupTest()
        : m_dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000}),
          m_thread(m_dictionary) {
        m_dictionary.resolveResource(m_thread, "plain", D_XSD_STRING);                                      // 1
        m_dictionary.resolveResource(m_thread, "text@en", D_RDF_PLAIN_LITERAL);                             // 2
        m_dictionary.resolveResource(m_thread, "x@", D_XSD_STRING);                                         // 3
        m_dictionary.resolveResource(m_thread, "a \"b\"\n", D_XSD_STRING);                                  // 4
        m_dictionary.resolveResource(m_thread, "", D_XSD_STRING);                                           // 5
        m_dictionary.resolveResource(m_thread, "a:b", D_IRI);                                               // 6
        m_dictionary.resolveResource(m_thread, "http://example.org/", D_IRI);                               // 7
        m_dictionary.resolveResource(m_thread, "5^^http://www.w3.org/2001/XMLSchema#int", D_TYPED_LITERAL); // 8
        m_dictionary.commit();
        m_dictionary.resolveResource(m_thread, "uncommitted", D_XSD_STRING); // 9
    }

    Lookup answer(Lookup lookup) const {
        lookup.answer(m_dictionary);
        return lookup;
    }

    std::string find(const std::string& term) const { return answer(Lookup::ofTerm(term)).toText(); }
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

TEST_F(LookupTest, takesTermsOfAllKinds) {
    EXPECT_EQ("7\t<http://example.org/>\n", find("<http://example.org/>"));
    EXPECT_EQ("8\t\"5\"^^<http://www.w3.org/2001/XMLSchema#int>\n", find("'5'^^xsd:int"));
    EXPECT_EQ("not found\t_:b0\n", find("_:b0"));
    EXPECT_EQ("7\t<http://example.org/>\n", get(7));
    EXPECT_EQ("8\t\"5\"^^<http://www.w3.org/2001/XMLSchema#int>\n", get(8));
}

TEST_F(LookupTest, refusesTermsThatNoDictionaryCanHave) {
    for (const auto& [text, message] :
         {std::pair("plain", "term 'plain': expected a term, found 'plain'; did you mean '\"plain\"'?"),
          {"\"x\"^^rdf:PlainLiteral", "term '\"x\"^^rdf:PlainLiteral': its language tag is malformed"},
          {"\"x@en-\"^^rdf:PlainLiteral", "term '\"x@en-\"^^rdf:PlainLiteral': its language tag is malformed"},
          {"<x>", "term '<x>': expected an absolute IRI, found '<x>'"}}) {
        const auto failure = catchException<ToolFailure>([&, term = text] { Lookup::ofTerm(term); });
        EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
        EXPECT_EQ(message, std::string(failure.what()));
    }
}

TEST_F(LookupTest, reportsAbsentTerms) {
    EXPECT_EQ("not found\t\"Plain\"\n", find("\"Plain\""));
    EXPECT_EQ("not found\t\"text\"@EN\n", find("\"text\"@EN"));
    EXPECT_EQ("not found\t\"text\"\n", find("\"text\""));
    EXPECT_EQ("not found\t\"uncommitted\"\n", find("\"uncommitted\""));
    for (const uint64_t resourceID : {uint64_t(0), uint64_t(9), uint64_t(10), ~uint64_t(0)})
        EXPECT_EQ("not found\t" + std::to_string(resourceID) + "\n", get(resourceID));
}

TEST_F(LookupTest, findsTheLiteralOfAnID) {
    EXPECT_EQ("1\t\"plain\"\n", get(1));
    EXPECT_EQ("2\t\"text\"@en\n", get(2));
    EXPECT_EQ("5\t\"\"\n", get(5));
}

TEST_F(LookupTest, knowsWhetherItIsAnswered) {
    EXPECT_TRUE(answer(Lookup::ofTerm("\"\"")).isAnswered());
    EXPECT_TRUE(answer(Lookup::ofResourceID(5)).isAnswered());
    EXPECT_FALSE(answer(Lookup::ofTerm("\"absent\"")).isAnswered());
    EXPECT_FALSE(answer(Lookup::ofResourceID(9)).isAnswered());
    EXPECT_FALSE(answer(Lookup::ofResourceID(0)).isAnswered());
}

TEST_F(LookupTest, isJsonWithNullForUnknownFigures) {
    const auto json = [this](const Lookup& lookup) { return answer(lookup).toJson().dump(); };
    EXPECT_EQ(R"({"question":"'text'@en","id":2,"literal":"\"text\"@en","text":"text","language":"en",)"
              R"("type":"literal","value":"text","datatype":null,"direction":null})",
              json(Lookup::ofTerm("'text'@en")));
    EXPECT_EQ(R"({"question":"'no'","id":null,"literal":"\"no\"","text":"no","language":null,)"
              R"("type":"literal","value":"no","datatype":null,"direction":null})",
              json(Lookup::ofTerm("'no'")));
    EXPECT_EQ(R"({"question":"6","id":6,"literal":null,"text":null,"language":null,)"
              R"("type":"iri","value":"a:b","datatype":null,"direction":null})",
              json(Lookup::ofResourceID(6)));
    EXPECT_EQ(R"({"question":"99","id":99,"literal":null,"text":null,"language":null,)"
              R"("type":null,"value":null,"datatype":null,"direction":null})",
              json(Lookup::ofResourceID(99)));
}

} // namespace

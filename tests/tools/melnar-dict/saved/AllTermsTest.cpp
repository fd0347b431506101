#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/saved/SampleTerms.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// Tests the verbs with a dictionary "d" of terms of all families.
class AllTermsTest : public testing::Test {
protected:
    AllTermsTest() { makeDictionaryOfTerms()->save(m_directory.getPathOf("d")); }

    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = "") const {
        ToolInput toolInput;
        toolInput.m_input = input;
        toolInput.m_workingDirectory = m_directory.getPathOf("");
        return runToolProcess(arguments, toolInput);
    }

    /// Returns the output of a run that must succeed.
    std::string outputOf(const std::vector<std::string>& arguments, const std::string& input = "") const {
        const ToolResult result = run(arguments, input);
        EXPECT_EQ(0, result.m_exitCode) << arguments.front();
        EXPECT_EQ("", result.m_errorOutput) << arguments.front();
        return result.m_output;
    }

    static std::vector<nlohmann::ordered_json> parseRows(const std::string& output) {
        std::vector<nlohmann::ordered_json> rows;
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);)
            rows.push_back(nlohmann::ordered_json::parse(line));
        return rows;
    }

    /// Returns all terms as lines of text, with or without IDs.
    std::string toLines(const bool hasIDs) const {
        std::string lines;
        for (size_t index = 0; index < m_samples.size(); ++index)
            lines += (hasIDs ? std::to_string(index + 1) + '\t' : "") + m_samples[index].m_text + '\n';
        return lines;
    }

    const TemporaryDirectory m_directory;
    const std::vector<SampleTerm> m_samples = makeSampleTerms();
};

TEST_F(AllTermsTest, dumpAndGetPrintEachAsAPersonWouldWriteIt) {
    EXPECT_EQ(toLines(true), outputOf({"dump", "d"}));
    std::string ids;
    for (size_t index = 0; index < m_samples.size(); ++index)
        ids += std::to_string(index + 1) + '\n';
    EXPECT_EQ(toLines(true), outputOf({"get", "d", "-"}, ids));
    EXPECT_EQ("11\t_:doc2-b0\n7\t<http://example.org/5>\n", outputOf({"get", "d", "11", "7"}));
}

TEST_F(AllTermsTest, lookupFindsWhatDumpPrints) {
    EXPECT_EQ(toLines(true), outputOf({"lookup", "d", "-"}, toLines(false)));
    std::vector<std::string> arguments{"lookup", "d"};
    for (const SampleTerm& sample : m_samples)
        arguments.push_back(sample.m_text);
    EXPECT_EQ(toLines(true), outputOf(arguments));
}

TEST_F(AllTermsTest, lookupReportsAbsentTerms) {
    const ToolResult result =
        run({"lookup", "d", "<http://example.org/6>", "'5'^^xsd:int", "\"05\"^^xsd:int", "_:b1", "'x@y'@en--rtl",
             "<<(_:b0 <a:p> \"\\u000A\"@en-gb)>>", "http://example.org/1", "<1>", "'5'^^owl:real"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("not found\t<http://example.org/6>\n"
              "12\t\"5\"^^<http://www.w3.org/2001/XMLSchema#int>\n"
              "not found\t\"05\"^^<http://www.w3.org/2001/XMLSchema#int>\n"
              "not found\t_:b1\n"
              "not found\t\"x@y\"@en--rtl\n"
              "not found\t<<( _:b0 <a:p> \"\\n\"@en-gb )>>\n",
              result.m_output);
    EXPECT_EQ("melnar-dict: term 'http://example.org/1': expected a term, found 'http:'; did you mean "
              "'<http://example.org/1>'?\n"
              "melnar-dict: term '<1>': expected an absolute IRI, found '<1>'\n"
              "melnar-dict: term ''5'^^owl:real': expected an IRI in angle brackets or a name that begins with xsd: or "
              "rdf:, found 'owl:real'\n",
              result.m_errorOutput);
}

TEST_F(AllTermsTest, jsonHasTheKindAndThePartsOfEach) {
    const std::string output = outputOf({"dump", "d", "--json"});
    const std::vector<nlohmann::ordered_json> rows = parseRows(output);
    ASSERT_EQ(m_samples.size(), rows.size());
    const auto row = [&](const size_t id) { return rows[id - 1].dump(); };
    EXPECT_EQ(R"({"id":1,"literal":"\"text\"","text":"text","language":null,)"
              R"("type":"literal","value":"text","datatype":null,"direction":null})",
              row(1));
    EXPECT_EQ(R"({"id":2,"literal":"\"a@b\"@en-GB","text":"a@b","language":"en-GB",)"
              R"("type":"literal","value":"a@b","datatype":null,"direction":null})",
              row(2));
    EXPECT_EQ(R"({"id":7,"literal":null,"text":null,"language":null,)"
              R"("type":"iri","value":"http://example.org/5","datatype":null,"direction":null})",
              row(7));
    EXPECT_EQ(R"({"id":11,"literal":null,"text":null,"language":null,)"
              R"("type":"blankNode","value":"doc2-b0","datatype":null,"direction":null})",
              row(11));
    EXPECT_EQ(R"({"id":13,"literal":"\"a^^\\n\"^^<a:t>","text":"a^^\n","language":null,)"
              R"("type":"literal","value":"a^^\n","datatype":"a:t","direction":null})",
              row(13));
    EXPECT_EQ(R"({"id":15,"literal":"\"x@y\"@en--ltr","text":"x@y","language":"en",)"
              R"("type":"literal","value":"x@y","datatype":null,"direction":"ltr"})",
              row(15));
    EXPECT_EQ("rtl", rows[15]["direction"]);
    EXPECT_EQ(R"({"id":17,"literal":null,"text":null,"language":null,)"
              R"("type":"tripleTerm","value":"<<( _:b0 <a:p> \"\\n\"@en-GB )>>","datatype":null,"direction":null})",
              row(17));
    EXPECT_EQ(output, outputOf({"lookup", "d", "--json", "-"}, toLines(false)));
    const ToolResult missing = run({"lookup", "d", "--json", "<a:b>"});
    EXPECT_EQ(1, missing.m_exitCode);
    EXPECT_EQ(R"({"id":null,"literal":null,"text":null,"language":null,)"
              R"("type":"iri","value":"a:b","datatype":null,"direction":null})"
              "\n",
              missing.m_output);
    EXPECT_EQ(R"({"id":99,"literal":null,"text":null,"language":null,)"
              R"("type":null,"value":null,"datatype":null,"direction":null})"
              "\n",
              run({"get", "d", "--json", "99"}).m_output);
}

TEST_F(AllTermsTest, verifyCountsAll) {
    EXPECT_EQ("d: sound, 18 resources\n", outputOf({"verify", "d"}));
    EXPECT_EQ(18, nlohmann::json::parse(outputOf({"verify", "d", "--json"}))["resources"]);
}

TEST_F(AllTermsTest, statsTellOfEachFamily) {
    const std::string text = outputOf({"stats", "d"});
    for (const char* const line :
         {"\n    Number of resources of IRI: 7\n", "\n    Number of resources of blank node: 2\n",
          "\n    Number of resources of typed literal: 3\n", "\n    Number of resources of triple term: 2\n",
          "#dirLangString: 2\n", "\n        IRIs\n            Memory consumed (bytes): ",
          "\n        Shared texts of IRIs\n            Memory consumed (bytes): ",
          "\n        directional strings\n            Average probe length (buckets): 1\n"})
        EXPECT_NE(std::string::npos, text.find(line)) << line << text;
    EXPECT_EQ("Dictionary", nlohmann::json::parse(outputOf({"stats", "d", "--json"}))["name"]);
    const std::string page = outputOf({"stats", "d", "--html", "-"});
    EXPECT_NE(std::string::npos, page.find("<section id=\"kinds\">"));
}

TEST_F(AllTermsTest, compactKeepsAll) {
    const auto dictionary = Dictionary::open(m_directory.getPathOf("d"), {.m_memoryLimit = size_t(64) << 20});
    {
        DictionaryThread thread(*dictionary);
        for (const auto& [form, datatypeID] : {std::pair("http://example.org/gone", D_IRI),
                                               {"gone", D_BLANK_NODE},
                                               {"gone^^a:gone", D_TYPED_LITERAL},
                                               {"gone@en--ltr", D_DIRECTIONAL_STRING},
                                               {"<<( _:gone <a:p> _:o )>>", D_TRIPLE_TERM}})
            dictionary->resolveResource(thread, form, datatypeID);
        dictionary->rollback();
        EXPECT_EQ(24u, dictionary->resolveResource(thread, "http://example.org/new", D_IRI));
    }
    dictionary->commit();
    dictionary->save(m_directory.getPathOf("d"));
    EXPECT_EQ(toLines(true) + "24\t<http://example.org/new>\n", outputOf({"dump", "d"}));
    EXPECT_EQ("24\t19\n", outputOf({"compact", "d", "-o", "e"}));
    EXPECT_EQ(toLines(true) + "19\t<http://example.org/new>\n", outputOf({"dump", "e"}));
    EXPECT_EQ(toLines(true), outputOf({"lookup", "e", "-"}, toLines(false)));
    EXPECT_EQ("e: sound, 19 resources\n", outputOf({"verify", "e"}));
    EXPECT_EQ("24\t19\n", outputOf({"compact", "d"}));
}

TEST_F(AllTermsTest, loadAnswersQuestionsOfAll) {
    m_directory.addFile("empty.nt", "");
    std::vector<std::string> arguments{"load", "empty.nt", "--into", "d"};
    std::string expected;
    for (size_t index = 0; index < m_samples.size(); ++index) {
        arguments.insert(arguments.end(), {"--query", m_samples[index].m_text, "--get", std::to_string(index + 1)});
        const std::string line = std::to_string(index + 1) + '\t' + m_samples[index].m_text + '\n';
        expected += line + line;
    }
    const std::string output = outputOf(arguments);
    EXPECT_TRUE(output.ends_with("\n" + expected)) << output;
    const std::string json = outputOf({"load", "empty.nt", "--into", "d", "--json", "--get", "7"});
    const nlohmann::ordered_json lookup = nlohmann::ordered_json::parse(json)["lookups"][0];
    EXPECT_EQ(R"({"question":"7","id":7,"literal":null,"text":null,"language":null,)"
              R"("type":"iri","value":"http://example.org/5","datatype":null,"direction":null})",
              lookup.dump());
}

TEST_F(AllTermsTest, encodeAsIriReplacesOnlyStrings) {
    m_directory.addFile("in.nt", "<http://example.org/1> <a:p> \"text\" .\n"
                                 "_:b0 <a:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#int> .\n");
    outputOf({"encode", "--as", "iri", "in.nt", "-d", "d", "-o", "out.nt"});
    const std::string encoded = TemporaryDirectory::getContentsOf(m_directory.getPathOf("out.nt"));
    EXPECT_TRUE(encoded.ends_with("\n<http://example.org/1> <a:p> <melnar:1> .\n"
                                  "_:b0 <a:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#int> .\n"))
        << encoded;
    EXPECT_EQ("<http://example.org/1> <a:p> \"text\" .\n"
              "_:b0 <a:p> \"5\"^^<http://www.w3.org/2001/XMLSchema#int> .\n",
              outputOf({"decode", "--as", "iri", "out.nt", "-d", "d", "-o", "-"}));
}

TEST_F(AllTermsTest, decodeRefusesAnIDThatIsThatOfNoString) {
    for (size_t id = 1; id <= m_samples.size(); ++id) {
        m_directory.addFile("in.nt", "<a:s> <a:p> <melnar:" + std::to_string(id) + "> .\n");
        const ToolResult result = run({"decode", "--as", "iri", "in.nt", "-d", "d", "-o", "-"});
        EXPECT_EQ(id > 2 ? 1 : 0, result.m_exitCode) << id;
        EXPECT_EQ(id > 2 ? "in.nt:1: the IRI 'melnar:" + std::to_string(id) +
                               "' contains the ID of a term that is not a string literal\n"
                         : "",
                  result.m_errorOutput);
        EXPECT_EQ(id > 2, result.m_output.empty());
    }
}

} // namespace

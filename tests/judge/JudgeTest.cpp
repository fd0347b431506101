#include "tests/judge/Judge.h"

#include "tests/Reader/W3cManifest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using Rdf::Syntax;
using Rdf::Version;

const std::string BASE = "http://b.example/";

class JudgeTest : public testing::Test {
protected:
    Judgement judge(const Syntax syntax, const Version version, const std::string& text, const std::string& base) {
        std::unique_ptr<Judge>& judge = m_judges[static_cast<size_t>(syntax)][static_cast<size_t>(version)];
        if (judge == nullptr)
            judge = std::make_unique<Judge>(syntax, version);
        return judge->judge(text, base);
    }

    bool accepts(const Syntax syntax, const std::string& text, const Version version = Version::RDF_1_2) {
        return judge(syntax, version, text, BASE).m_refusal.empty();
    }

    Judgement judgeFile(const std::string& path, const std::string& base, const Version version) {
        const Syntax syntax = path.ends_with(".ttl")  ? Syntax::TURTLE
                              : path.ends_with(".nq") ? Syntax::N_QUADS
                              : path.ends_with(".nt") ? Syntax::N_TRIPLES
                                                      : Syntax::TRIG;
        return judge(syntax, version, readWholeFile(path), base);
    }

    /// Returns the set of statements of a text: repeated statements count once.
    static std::set<std::string> setOf(const Judgement& judgement) {
        return {judgement.m_statements.begin(), judgement.m_statements.end()};
    }

    /// Returns the number of tests.
    size_t checkSuite(const std::string& suite, const Version version) {
        const char* const data = std::getenv("MELNAR_DATA");
        if (data == nullptr || !std::filesystem::exists(std::string(data) + "/" + suite))
            return 0;
        const std::string base =
            "https://w3c.github.io/rdf-tests/rdf/" + suite.substr(4, 5) + "/" + suite.substr(suite.find('/') + 1);
        size_t number = 0;
        for (const W3cTest& test : readW3cManifest(std::string(data) + "/" + suite, base)) {
            ++number;
            const Judgement found = judgeFile(test.m_action, test.m_base, version);
            EXPECT_EQ(test.m_type.find("Negative") == std::string::npos, found.m_refusal.empty())
                << test.m_action << ' ' << found.m_refusal;
            if (test.m_type.ends_with("Eval") && found.m_refusal.empty()) {
                EXPECT_EQ(setOf(judgeFile(test.m_result, "", version)), setOf(found)) << test.m_action;
            }
        }
        return number;
    }

    std::unique_ptr<Judge> m_judges[4][2];
};

TEST_F(JudgeTest, decidesTheSuitesAsTheW3cDoes) {
    if (std::getenv("MELNAR_DATA") == nullptr)
        GTEST_SKIP() << "MELNAR_DATA names no folder";
    size_t number11 = 0;
    size_t number12 = 0;
    for (const char* const language : {"rdf-n-triples/", "rdf-n-quads/", "rdf-turtle/", "rdf-trig/"}) {
        number11 += checkSuite(std::string("w3c-rdf11-tests/") + language, Version::RDF_1_1);
        checkSuite(std::string("w3c-rdf11-tests/") + language, Version::RDF_1_2);
        for (const char* const kind : {"c14n/", "syntax/", "eval/"})
            number12 += checkSuite(std::string("w3c-rdf12-tests/") + language + kind, Version::RDF_1_2);
    }
    EXPECT_EQ(826u, number11);
    EXPECT_EQ(301u, number12);
}

TEST_F(JudgeTest, takesTheLongestTerminal) {
    EXPECT_EQ((JudgedStatements{"<u:> <p:> <u:a.b>"}),
              judge(Syntax::TURTLE, Version::RDF_1_1, "@prefix:<u:>.:<p:>:a.b.", BASE).m_statements);
    EXPECT_TRUE(accepts(Syntax::TURTLE, "PREFIX a:<a:> <a> <b> (1-2 'x' true'''y'''[]false[]a:b) ."));
    for (const std::string text : {"<a> <b> 1.e .", "<a> atrue .", "<a> a5 .", "<a> <b> (true.5) .",
                                   "<a> <b> ('x'@en-.5) .", "@prefix\xC3\xA4: <b:> ."})
        EXPECT_FALSE(accepts(Syntax::TURTLE, text)) << text;
    EXPECT_FALSE(accepts(Syntax::TURTLE, "<a> <b> ('''x' ) .")) << "no empty string before 'x'";
    EXPECT_FALSE(accepts(Syntax::N_QUADS, "<a:a> <a:b> 'x' ."));
    EXPECT_TRUE(accepts(Syntax::N_QUADS, "_:a<a:b>\"x\"@e_:c."));
    EXPECT_TRUE(accepts(Syntax::TURTLE, "[ # ]\n] a [] ."));
    EXPECT_FALSE(accepts(Syntax::TURTLE, "[ # ] a [] ."));
}

TEST_F(JudgeTest, checksWhatTheGrammarsDoNotSay) {
    for (const std::string text : {"<a> <b> :c .", "<a> <b> '\\uD800' .", "<a> <b> '\\U00110000' .",
                                   "<a> <b\\u0020> 1 .", "<a> <b> 'x'@en--up .", "<a> <b> 'x'@abcdefghi .",
                                   "<a> <b> 'x'^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#langString> .",
                                   "<a> <b> 'x\xED\xA0\x80' .", "<a> <b> '\xC0\x80' .", "# \xFF", "<a> <b> 'x\xC3"})
        EXPECT_FALSE(accepts(Syntax::TURTLE, text)) << text;
    EXPECT_FALSE(accepts(Syntax::N_TRIPLES, "<a> <b:b> <c:c> ."));
    EXPECT_NE("", judge(Syntax::TURTLE, Version::RDF_1_2, "<a> <b:b> <c:c> .", "").m_refusal);
    EXPECT_EQ("", judge(Syntax::TURTLE, Version::RDF_1_1, "<a> <b> 'x'@abcdefghi .", BASE).m_refusal);
    EXPECT_TRUE(accepts(Syntax::TURTLE, "\xEF\xBB\xBF<a> <b> '\\u0000\xF4\x8F\xBF\xBF' ."));
    EXPECT_FALSE(accepts(Syntax::TURTLE, "<a> <b> 'x'@en--ltr .", Version::RDF_1_1));
}

TEST_F(JudgeTest, findsTheStatementsOfEachConstruction) {
    const auto statements = [&](const std::string& text) {
        const Judgement found = judge(Syntax::TRIG, Version::RDF_1_2, "PREFIX : <u:> " + text, BASE);
        EXPECT_EQ("", found.m_refusal);
        std::string lines;
        for (std::string line : found.m_statements) {
            for (const auto& [iri, name] :
                 {std::pair<std::string, std::string>("http://www.w3.org/1999/02/22-rdf-syntax-ns#", "rdf:"),
                  {"http://www.w3.org/2001/XMLSchema#", "xsd:"}})
                for (size_t at = line.find(iri); at != std::string::npos; at = line.find(iri))
                    line.replace(at, iri.size(), name);
            lines += line + "\n";
        }
        return lines;
    };
    EXPECT_EQ("<http://b.example/x/y?q#f> <rdf:type> \"1\"^^<xsd:integer> <http://b.example/c>\n",
              statements("BASE <a/b> <../c> { <../x/./z/../y?q#f> a 1 }"));
    EXPECT_EQ("<u:s> <u:p> _:\n_: <rdf:first> \"1\\\"\n\"@en-GB--ltr\n_: <rdf:rest> <rdf:nil>\n",
              statements(":s :p ('1\\\\\\\"\\n'@en-GB--ltr) ."));
    EXPECT_EQ("<u:s> <u:p> _: <u:g>\n_: <u:q> \"x\"^^<u:t> <u:g>\n", statements(":g { :s :p [ :q 'x'^^:t ] }"));
    EXPECT_EQ("<u:r> <rdf:reifies> <<( <u:s> <u:p> <u:o> )>>\n<u:s> <u:p> <u:o>\n<u:t> <u:p> <u:o>\n"
              "_: <rdf:reifies> <<( <u:s> <u:p> <u:o> )>>\n_: <u:a> <u:b>\n",
              statements(":s :p :o ~ :r ~ {| :a :b |} . :t :p :o ."));
    EXPECT_EQ("<u:x> <u:p> <<( <u:s> <u:p> _: )>>\n_: <rdf:reifies> <<( <u:s> <u:p> <u:o> )>>\n",
              statements("<< :s :p :o >> . :x :p <<( :s :p [] )>> ."));
}

TEST_F(JudgeTest, aGrammarThatOneTerminalDoesNotDecideIsRefused) {
    EXPECT_THROW(Judge(Syntax::TURTLE, Version::RDF_1_2, "BlankNode ::= BLANK_NODE_LABEL | ANON | '[' ']'"),
                 std::logic_error);
    EXPECT_THROW(Judge(Syntax::TURTLE, Version::RDF_1_2, "objectList ::= object (',' object)* ','?"), std::logic_error);
    EXPECT_THROW(Judge(Syntax::TURTLE, Version::RDF_1_2, "no rule"), std::runtime_error);
    EXPECT_NO_THROW(Judge(Syntax::TURTLE, Version::RDF_1_2, "INTEGER ::= [0-9]+"));
}

} // namespace

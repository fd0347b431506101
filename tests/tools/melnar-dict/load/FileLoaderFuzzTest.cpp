#include "tests/tools/melnar-dict/input/TextDamage.h"
#include "tests/tools/melnar-dict/load/FuzzRounds.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// Texts with every kind of token, to be damaged.
const std::vector<std::string> TRIPLE_SEEDS{
    "# comment\n<a:s> <a:p> \"a\\n\\\"\\\\\" .\n_:b1 <a:p> \"b\"@en-US .\r\n<a:s> <a:p> \"c\"^^<a:t> . # c\n\n"
    "<a:s> <a:p> \"d\\u00e9\\U0001F600\xC3\xA9\" .\n<a:s><a:p>_:o.\n<a:s> <a:p> \"\" .\n"
    "<a:s> <a:p> \"e\"^^<http://www.w3.org/2001/XMLSchema#string> .\r<a:s> <a:p> "
    "\"f@en\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n",
};

const std::vector<std::string> QUAD_SEEDS{
    TRIPLE_SEEDS[0],
    "<a:s> <a:p> <a:o> <a:g> .\n<a:s> <a:p> \"a\" _:g.\n<a:s> <a:p> \"b\"@en<a:g>.#c\n<a:s> <a:p> _:o _:g .\n"
    "<a:s> <a:p> _:o.\n<a:s> <a:p> \"c\"^^<a:t> _:g.\n",
};

const std::vector<std::string> TURTLE_SEEDS{
    "@prefix : <http://e/> .\nPREFIX x: <http://x/>\n@base <http://b/> .\n:s :p \"a\\n\" , 'b'@en ;\n  x:q "
    "\"\"\"c\n\"d\\n\"\n\"\"\" . # c\n"
    ":s a [ :p 1 , -2.5 , .5e3 , true ] ;\n  :l ( \"e\" ( 'f' ) [] ) .\n_:b1 :p _:B1 , \"g\"^^<t> .\n\n:s :p 123.\n"
    ":s :p \"h\" @en , \"i\" ^^ x:t . <\\u0041> :p '''j'k\\'''' .\n:\xC3\xA9 :p \"\xF0\x9F\x98\x80\" .\n",
    "@prefix : <http://e/> .\n:g { :s :p \"a\" . [] :p 5. }\n{ :s :p \"b\"@en }\nGRAPH _:g {\n :s :p '''c\n''' ;\n :q "
    "() .\n}\n"
    "[] { :s :p \"d\" }\nBASE <http://b/>\n<s> <p> <o> .\n",
    "PREFIX : <http://e/>\n:s :p 'a'@ar--ltr ~ :r {| :q <<( :s :p 'b' )>> |} .\n<< _:b :p ( 1 \"c\" ) >> :q [] .\n"
    ":s :p <<( _:b :p <<( :s :p 'x@en'^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> )>> )>> .\n",
};

/// Changes a text in a few places, usually so that it is still nearly valid.
std::string damageText(std::string text, TextDamage& damage) {
    const std::string pieces[] = {
        "\"",  "'",       "\"\"\"", "\\",   "\n", "\r", ".", ";",  ",",  "<", ">",
        "[",   "]",       "(",      ")",    "{",  "}",  "@", "^^", "_:", ":", "#",
        "\\u", "\\uD800", "\xC3",   "\xFF", "a",  "1",  " ", "e:", "-",  "=", std::string(1, '\0')};
    for (size_t count = damage.below(4); count > 0; --count)
        damage.change(text, pieces, text.size() / 4);
    return text;
}

struct FuzzedFormat {
    RdfFormat m_format;
    const std::vector<std::string>* m_seeds;
};

class FileLoaderFuzzConcurrentTest : public testing::TestWithParam<FuzzedFormat> {
protected:
    /// Damages the seeds repeatedly. `expectSame` loads a text in two ways: with one thread as a whole, and with
    /// several threads in small blocks. It returns whether the text has errors.
    template<class ExpectSame>
    static void fuzz(const ExpectSame& expectSame) {
        const size_t numberOfRounds = getNumberOfFuzzRounds(60);
        TextDamage damage(20240607);
        size_t numberOfTextsWithErrors = 0;
        for (size_t round = 0; round < numberOfRounds; ++round)
            for (const std::string& seed : *GetParam().m_seeds) {
                const std::string text = damageText(seed, damage);
                for (const bool lenient : {false, true}) {
                    numberOfTextsWithErrors +=
                        expectSame(text, FileLoader::Settings{1, lenient, "http://b/", 1 << 20},
                                   FileLoader::Settings{3, lenient, "http://b/", 1 + round % 50});
                    ASSERT_FALSE(HasFailure()) << testing::PrintToString(text);
                }
            }
        EXPECT_GT(numberOfTextsWithErrors, 0u);
        EXPECT_LT(numberOfTextsWithErrors, 2 * numberOfRounds * GetParam().m_seeds->size());
    }
};

/// For any bytes: nothing crashes, and the results do not depend on how the file is cut and how many threads read it.
TEST_P(FileLoaderFuzzConcurrentTest, findsTheSameInDamagedTextHoweverItIsRead) {
    fuzz([](const std::string& text, const FileLoader::Settings& atOnce, const FileLoader::Settings& inBlocks) {
        const LoadOutcome whole = loadText(GetParam().m_format, text, atOnce);
        const LoadOutcome cut = loadText(GetParam().m_format, text, inBlocks);
        EXPECT_EQ(whole.m_exitCode, cut.m_exitCode);
        EXPECT_EQ(whole.m_errorOutput, cut.m_errorOutput);
        if (whole.m_exitCode == ExitCode::DONE) {
            EXPECT_EQ(whole.m_strings, cut.m_strings);
            EXPECT_EQ(whole.m_plainLiterals, cut.m_plainLiterals);
            EXPECT_EQ(whole.m_counts.m_statements, cut.m_counts.m_statements);
            EXPECT_EQ(whole.m_counts.getNumberOfOtherTerms(), cut.m_counts.getNumberOfOtherTerms());
        }
        return !whole.m_errorOutput.empty();
    });
}

TEST_P(FileLoaderFuzzConcurrentTest, givesAllTermsOfDamagedTextTheSameIDsHoweverItIsRead) {
    fuzz([](const std::string& text, const FileLoader::Settings& atOnce, const FileLoader::Settings& inBlocks) {
        const TermLoadOutcome whole = loadTermsOfText(GetParam().m_format, text, atOnce);
        const TermLoadOutcome cut = loadTermsOfText(GetParam().m_format, text, inBlocks);
        EXPECT_EQ(whole.m_exitCode, cut.m_exitCode);
        EXPECT_EQ(whole.m_errorOutput, cut.m_errorOutput);
        if (whole.m_exitCode == ExitCode::DONE) {
            EXPECT_EQ(whole.m_rows, cut.m_rows);
            EXPECT_TRUE(whole.m_savedBytes == cut.m_savedBytes);
            EXPECT_EQ(whole.m_counts.getNumberOfOtherTerms(), cut.m_counts.getNumberOfOtherTerms());
            EXPECT_EQ(4 * whole.m_counts.m_statements, whole.m_rows.size()) << "what is counted has a row";
        }
        return !whole.m_errorOutput.empty();
    });
}

INSTANTIATE_TEST_SUITE_P(NTriples, FileLoaderFuzzConcurrentTest,
                         testing::Values(FuzzedFormat{RdfFormat::N_TRIPLES, &TRIPLE_SEEDS}));
INSTANTIATE_TEST_SUITE_P(NQuads, FileLoaderFuzzConcurrentTest,
                         testing::Values(FuzzedFormat{RdfFormat::N_QUADS, &QUAD_SEEDS}));
INSTANTIATE_TEST_SUITE_P(Turtle, FileLoaderFuzzConcurrentTest,
                         testing::Values(FuzzedFormat{RdfFormat::TURTLE, &TURTLE_SEEDS}));
INSTANTIATE_TEST_SUITE_P(TriG, FileLoaderFuzzConcurrentTest,
                         testing::Values(FuzzedFormat{RdfFormat::TRIG, &TURTLE_SEEDS}));

} // namespace

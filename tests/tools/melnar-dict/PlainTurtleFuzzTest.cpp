#include "tests/tools/melnar-dict/FuzzRounds.h"
#include "tests/tools/melnar-dict/ParserFindings.h"
#include "tests/tools/melnar-dict/RdfFacts.h"
#include "tests/tools/melnar-dict/TextDamage.h"
#include "tests/tools/melnar-dict/TextSource.h"

#include "tools/melnar-dict/InputFile.h"
#include "tools/melnar-dict/TurtleParser.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

const std::string PREFIXES = "@prefix : <http://e/> .\n@prefix x-1: <http://x/> .\n"
                             "PREFIX xsd: <http://www.w3.org/2001/XMLSchema#>\n"
                             "@prefix true: <http://www.w3.org/2001/XMLSchema#> .\n";

const std::vector<std::string> STATEMENTS{
    ":s :p \"a\" .\n",
    "<s> a x-1:T ;\n  x-1:p \"b\"@en-GB , # c\n \"c\\n\"^^xsd:string ;\n  :q 5 , -1.5 , true .\n",
    "_:b1 <p> \"\"\"d\n\"\\u00e9\n\"\"\"@de ; :q _:B1 ; .\n",
    ":s true:p \"k\"^^true:string , \"l\"^^xsd:string .\n",
    ":s :p [ :q \"e\" ; :r ( \"f\" 'g' ) ] .\n",
    ":s x-1:p '''h'''@en , \"i\" ^^ xsd:string , 123.\n",
    "<http://a.example/s>\n\t<http://a.example/p> \"j\"^^<http://www.w3.org/2001/XMLSchema#string> .\n\n",
};

class TurtleDamage : public TextDamage {
public:
    TurtleDamage() : TextDamage(20250302) {}

    /// Some statements, of which a few are changed.
    std::string makeText() {
        std::string text = PREFIXES;
        m_hasChanged = false;
        for (size_t count = below(12); count > 0; --count) {
            std::string statement = STATEMENTS[below(STATEMENTS.size())];
            for (size_t changes = below(6) == 0 ? 1 + below(2) : 0; changes > 0; --changes)
                changeStatement(statement);
            text += statement;
        }
        return text;
    }

    /// Whether the text made last has been changed.
    bool hasChanged() const { return m_hasChanged; }

private:
    /// No braces: where they stand, Turtle and TriG differ.
    void changeStatement(std::string& text) {
        static const std::string PIECES[] = {"\"",          "\"\"\"",    "'",
                                             "\\",          "\\u0041",   "\\uD800",
                                             "\\n",         "@",         "@en",
                                             "^^",          "<",         ">",
                                             "[",           "]",         "(",
                                             ")",           "_:",        ":",
                                             "x-1:",        "y:",        ".",
                                             "..",          ";",         ",",
                                             " ",           "\n",        "\r",
                                             "# c\n",       "true",      "a",
                                             "5",           "-",         "+",
                                             "e3",          "=",         "%41",
                                             "@base <b> .", "BASE <b> ", "@prefix y: <y> .",
                                             "\xC3\xA9",    "\xFF",      std::string(1, '\0')};
        m_hasChanged = true;
        change(text, PIECES);
    }

    bool m_hasChanged = false;
};

/// Without the lines of literals, of which serd and the filter lose count where they differ on what a literal is.
ParserFindings withoutLines(ParserFindings findings) {
    for (auto& literal : findings.m_literals)
        std::get<0>(literal) = 0;
    return findings;
}

ParserFindings parse(std::unique_ptr<ByteSource> source, const RdfFormat format, const bool lenient,
                     const size_t blockSize) {
    ParserFindings findings;
    BlockReader reader(std::move(source), blockSize);
    TurtleParser parser(format, "http://base/", lenient, reader, [&](std::unique_ptr<ParsedPiece> piece) {
        if (!piece)
            return std::make_unique<ParsedPiece>();
        findings.add(*piece);
        return std::make_unique<ParsedPiece>();
    });
    parser.parse();
    return findings;
}

/// In TriG no statement is read as a plain one; as long as there are no graphs, it is the same language.
TEST(PlainTurtleFuzzTest, damagedTextHasTheSameContentsAsTurtleAndAsTrig) {
    const size_t numberOfRounds = getNumberOfFuzzRounds(4000);
    TurtleDamage damage;
    size_t numberOfTextsWithErrors = 0;
    for (size_t round = 0; round < numberOfRounds; ++round) {
        const std::string text = damage.makeText();
        for (const bool lenient : {false, true}) {
            const size_t blockSize = damage.below(2) == 0 ? 1 + damage.below(100) : size_t(1) << 18;
            const ParserFindings expected =
                parse(std::make_unique<TextSource>(text), RdfFormat::TRIG, lenient, blockSize);
            const ParserFindings found =
                parse(std::make_unique<TextSource>(text), RdfFormat::TURTLE, lenient, blockSize);
            ASSERT_EQ(withoutLines(expected), withoutLines(found)) << testing::PrintToString(text) << blockSize;
            ASSERT_TRUE(damage.hasChanged() || expected == found) << testing::PrintToString(text);
            numberOfTextsWithErrors += expected.m_errors.empty() ? 0u : 1u;
        }
    }
    EXPECT_GT(numberOfTextsWithErrors, numberOfRounds / 4);
    EXPECT_LT(numberOfTextsWithErrors, 2 * numberOfRounds);
}

TEST(PlainTurtleFuzzTest, aRealFileHasTheSameContentsAsTurtleAndAsTrig) {
    const std::optional<std::string> folder = getDataFolder();
    if (!folder)
        GTEST_SKIP() << "MELNAR_DATA names no folder";
    const std::string fileName = *folder + "/schemaorg-30.0/schemaorg-all-https.ttl.gz";
    const ParserFindings expected =
        parse(openInputFile(fileName), RdfFormat::TRIG, false, BlockReader::DEFAULT_BLOCK_SIZE);
    EXPECT_EQ(18061u, expected.m_counts.at(0));
    EXPECT_TRUE(expected == parse(openInputFile(fileName), RdfFormat::TURTLE, false, BlockReader::DEFAULT_BLOCK_SIZE));
}

} // namespace

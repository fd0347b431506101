#include "tests/tools/melnar-dict/FuzzRounds.h"
#include "tests/tools/melnar-dict/ParserFindings.h"
#include "tests/tools/melnar-dict/StatementTexts.h"
#include "tests/tools/melnar-dict/TextDamage.h"

#include "tools/melnar-dict/LineParser.h"
#include "tools/melnar-dict/LineShape.h"
#include "tools/melnar-dict/PlainLine.h"
#include "tools/melnar-dict/Utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const std::vector<std::string> SEEDS{
    "<http://a.example/s> <http://a.example/p> \"a text that is longer than sixteen bytes\"@en-GB .",
    "_:b1 <a:p> \"\\u00e9 \\U0001F600\\n\xC3\xA9\\\"\\\\\" .",
    "<a:s> <a:p> \"x\"^^<http://www.w3.org/2001/XMLSchema#string> .",
    "<a:s><a:p>\"\"@zh-Hant-TW.",
    "_:x_y-z <urn:p> _:o2 _:g .",
    "<a:s> <a:p> \"y@en\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> <a:g> .",
    "\t<a:s>\t<a:p>\t<http://a.example/o?q=1#f> . ",
};

class LineDamage : public TextDamage {
public:
    LineDamage() : TextDamage(20250301) {}

    /// A line that is a sound one with a few changes, in well-formed UTF-8 and without line ends.
    std::string makeLine() {
        for (;;) {
            std::string line = SEEDS[below(SEEDS.size())];
            for (size_t count = below(4); count > 0; --count)
                changeLine(line);
            const bool isWellFormed =
                findInvalidUtf8(line.data(), line.data() + line.size()) == line.data() + line.size();
            if (isWellFormed && line.find_first_of("\n\r") == std::string::npos)
                return line;
        }
    }

private:
    void changeLine(std::string& line) {
        static const std::string PIECES[] = {"\"",
                                             "\\",
                                             "\\\\",
                                             "\\\"",
                                             "\\t",
                                             "\\u",
                                             "\\u0041",
                                             "\\uD800",
                                             "\\U0010FFFF",
                                             "\\U00110000",
                                             "@",
                                             "@en",
                                             "-",
                                             "^",
                                             "^^",
                                             "<",
                                             ">",
                                             "<a:",
                                             "_:",
                                             "_",
                                             ":",
                                             ".",
                                             " ",
                                             "\t",
                                             "#",
                                             "'",
                                             "{",
                                             "|",
                                             "}",
                                             "`",
                                             "base",
                                             "graph",
                                             "prefix",
                                             "\x7F",
                                             "\x01",
                                             std::string(1, '\0'),
                                             "\xC2\xB7",
                                             "\xCC\x80",
                                             "\xE2\x82\xAC",
                                             "\xF0\x9F\x98\x80"};
        if (below(3) != 0) {
            change(line, PIECES);
            return;
        }
        const size_t position = below(line.size() + 1);
        const char byte = static_cast<char>(below(0x80));
        if (position == line.size() || below(2) == 0)
            line.insert(position, 1, byte);
        else
            line[position] = byte;
    }
};

ParserFindings parse(const std::string& text, const RdfFormat format, const bool lenient) {
    ParsedPiece piece;
    LineParser(format, lenient).parse(text, piece);
    ParserFindings findings;
    findings.add(piece);
    return findings;
}

TEST(PlainLineFuzzTest, aLineIsTheSameStatementForSerdAlone) {
    LineDamage damage;
    size_t numberOfPlainLines = 0;
    size_t numberOfOtherStatements = 0;
    const size_t numberOfRounds = getNumberOfFuzzRounds(60000);
    for (size_t round = 0; round < numberOfRounds; ++round) {
        const std::string line = damage.makeLine();
        const bool graphsAllowed = damage.below(2) == 0;
        PlainLine plainLine(graphsAllowed);
        plainLine.reserve(line.size());
        const std::optional<StatementTexts> expected = readWithSerd(line, graphsAllowed);
        if (const char* const end = plainLine.read(line.data(), line.data() + line.size())) {
            ASSERT_EQ(line.data() + line.size(), end) << testing::PrintToString(line);
            ASSERT_EQ(expected, StatementTexts(plainLine.getStatement())) << testing::PrintToString(line);
            ++numberOfPlainLines;
        } else
            numberOfOtherStatements += expected ? 1u : 0u;
        const ParserFindings findings =
            parse(line + '\n', graphsAllowed ? RdfFormat::N_QUADS : RdfFormat::N_TRIPLES, true);
        const bool isBlank = shapeOfLine(line, graphsAllowed).m_kind == LineShape::Kind::BLANK;
        ASSERT_EQ(expected || isBlank, findings.m_errors.empty()) << testing::PrintToString(line);
        ASSERT_EQ(expected ? 1u : 0u, findings.m_counts.front()) << testing::PrintToString(line);
    }
    EXPECT_GT(numberOfPlainLines, numberOfRounds / 4);
    EXPECT_LT(numberOfPlainLines, numberOfRounds / 4 * 3);
    EXPECT_GT(numberOfOtherStatements, 0u) << "some statements are not plain";
}

/// A comment behind it makes no other statement of a line, but one that is not plain.
TEST(PlainLineFuzzTest, aBlockHasTheSameContentsWhenNoLineOfItIsPlain) {
    LineDamage damage;
    size_t numberOfBlocksWithErrors = 0;
    const size_t numberOfRounds = getNumberOfFuzzRounds(3000);
    for (size_t round = 0; round < numberOfRounds; ++round) {
        std::string text;
        std::string commented;
        for (size_t count = damage.below(60); count > 0; --count) {
            const bool isDamaged = damage.below(10) == 0;
            const std::string line = isDamaged ? damage.makeLine() : SEEDS[damage.below(4)];
            const std::string end = damage.below(8) == 0 ? "\r\n" : damage.below(20) == 0 ? "\r" : "\n";
            const bool isPlain = damage.below(4) != 0;
            text += line + (isPlain ? "" : " # c") + end;
            commented += line + " # c" + end;
        }
        for (const bool lenient : {false, true}) {
            const RdfFormat format = damage.below(2) == 0 ? RdfFormat::N_TRIPLES : RdfFormat::N_QUADS;
            const ParserFindings expected = parse(commented, format, lenient);
            ASSERT_EQ(expected, parse(text, format, lenient)) << testing::PrintToString(text);
            numberOfBlocksWithErrors += expected.m_errors.empty() ? 0u : 1u;
        }
    }
    EXPECT_GT(numberOfBlocksWithErrors, numberOfRounds / 4);
    EXPECT_LT(numberOfBlocksWithErrors, 2 * numberOfRounds);
}

} // namespace

#include "tests/tools/melnar-dict/StatementTexts.h"

#include "tools/melnar-dict/PlainLine.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

using namespace std::string_literals;

/// The statement of a plain line, which serd reads as the same; nothing when the line is not plain.
std::optional<StatementTexts> read(const std::string& line, const bool graphsAllowed = false) {
    PlainLine plainLine(graphsAllowed);
    plainLine.reserve(line.size());
    if (plainLine.read(line.data(), line.data() + line.size()) == nullptr)
        return std::nullopt;
    StatementTexts texts(plainLine.getStatement());
    EXPECT_EQ(readWithSerd(line, graphsAllowed), texts) << line;
    return texts;
}

std::optional<StatementTexts> readObject(const std::string& object) {
    return read("<a:s> <a:p> " + object + " .");
}

TEST(PlainLineTest, readsTermsOfEveryKind) {
    for (const std::string line :
         {"<a:s> <a:p> <a:o> .", "<a:s><a:p><a:o>.", "\t <a:s>\t<a:p>  \"x\"\t.\t ", "_:b <a:p> _:c .",
          "_:0 <a:p> _:_-_ .", "_:base <a:p> _:prefix .", "_:PREFIX <a:p> _:Base .", "_:Graph <a:p> <a:o> .",
          "<a:s> <a:p> \"\" .", "<a:s> <a:p> \"\"@en .", "<a:s> <a:p> \"x\"@en-GB-1996.", "<a:s> <a:p> \"x\"^^<a:t>.",
          "<a:s> <a:p> \"a . <b> # c\" .", "<s-+.1://h/~!$&'()*+,;=:@%2F?#[]> <a:p> <a:o> .",
          "<a:\xC3\xA9> <a:p> \"\xF0\x9F\x98\x80\" .", "<a:> <a:p\x7F> <a:o> ."}) {
        EXPECT_TRUE(read(line)) << line;
        EXPECT_TRUE(read(line, true)) << line;
    }
    const std::optional<StatementTexts> texts = read("<a:s> <a:p> \"x\"@en .");
    ASSERT_TRUE(texts);
    EXPECT_EQ(std::to_string(SERD_LITERAL) + " x", texts->m_object);
    EXPECT_EQ(std::to_string(SERD_LITERAL) + " en", texts->m_language);
}

TEST(PlainLineTest, readsGraphsInQuadsOnly) {
    for (const std::string line :
         {"<a:s> <a:p> <a:o> <a:g> .", "<a:s> <a:p> \"x\"@en _:g .", "<a:s> <a:p> _:o <a:g>."}) {
        EXPECT_TRUE(read(line, true)) << line;
        EXPECT_FALSE(read(line, false)) << line;
    }
}

TEST(PlainLineTest, readsEveryEscapeOfStrings) {
    EXPECT_TRUE(readObject(R"("\t\b\n\r\f\"\'\\")"));
    EXPECT_TRUE(readObject(R"("a\nb\\\"c\\")"));
    for (const std::string escape : {"\\u0000", "\\u007F", "\\u0080", "\\u07fF", "\\u0800", "\\uD7FF", "\\uE000",
                                     "\\uffff", "\\U00000041", "\\U00010000", "\\U0010FFFF"}) {
        EXPECT_TRUE(readObject('"' + escape + '"')) << escape;
        EXPECT_TRUE(readObject("\"" + std::string(40, 'x') + escape + escape + std::string(40, 'y') + "\"@en"))
            << escape;
    }
}

TEST(PlainLineTest, keepsBytesThatAreNoCharactersOfText) {
    EXPECT_TRUE(readObject("\"a\0b\x01\x7F\""s));
}

TEST(PlainLineTest, readsTextsOfEveryLengthAtEveryPlace) {
    for (size_t length = 0; length < 70; ++length) {
        EXPECT_TRUE(readObject('"' + std::string(length, 'x') + '"')) << length;
        EXPECT_TRUE(readObject('"' + std::string(length, 'x') + "\\n\"@en")) << length;
        EXPECT_TRUE(readObject("<a:" + std::string(length, 'x') + ">")) << length;
        EXPECT_FALSE(readObject('"' + std::string(length, 'x'))) << length;
        EXPECT_FALSE(readObject("<a:" + std::string(length, 'x') + " >")) << length;
    }
}

TEST(PlainLineTest, endsWhereTheLineDoes) {
    const std::string statement = "<a:s> <a:p> <a:o> . ";
    for (const std::string end : {"\n", "\r", "\r\n", "\n<a:s> <a:p> <a:o> .\n", ""}) {
        const std::string text = statement + end;
        PlainLine plainLine(false);
        plainLine.reserve(text.size());
        EXPECT_EQ(text.data() + statement.size(), plainLine.read(text.data(), text.data() + text.size()));
    }
}

TEST(PlainLineTest, takesTheSameCharactersInIrisAsTheParser) {
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        const std::string character(1, static_cast<char>(byte));
        for (const std::string& iri :
             {"<a:" + character + ">", "<a:more-than-sixteen-bytes:" + character + ":more-than-sixteen-bytes>",
              "<a" + character + "b:c>", "<" + character + ":c>"})
            EXPECT_EQ(readWithSerd("<a:s> <a:p> " + iri + " .", false).has_value(), readObject(iri).has_value()) << iri;
    }
}

TEST(PlainLineTest, leavesTheRestToTheParser) {
    for (const std::string line : {"",
                                   " ",
                                   "# c",
                                   ".",
                                   "<a:s> <a:p> <a:o>",
                                   "<a:s> <a:p> <a:o> . # c",
                                   "<a:s> <a:p> <a:o> ..",
                                   "<a:s> <a:p> <a:o> . <a:s> <a:p> <a:o> .",
                                   "<s> <a:p> <a:o> .",
                                   "<a:s> <> <a:o> .",
                                   "<:> <a:p> <a:o> .",
                                   "<1:s> <a:p> <a:o> .",
                                   "<a:s> <a:p> <a:\\u0041> .",
                                   "\"x\" <a:p> <a:o> .",
                                   "<a:s> _:p <a:o> .",
                                   "_:a.b <a:p> <a:o> .",
                                   "_:a. <a:p> <a:o> .",
                                   "_:-a <a:p> <a:o> .",
                                   "_:a<a:p> <a:o> .",
                                   "_:\xC3\xA4 <a:p> <a:o> .",
                                   "_: <a:p> <a:o> .",
                                   "<a:s> <a:p> _:o.",
                                   "<a:s> <a:p> 'x' .",
                                   "<a:s> <a:p> \"x .",
                                   "<a:s> <a:p> \"x\\\" .",
                                   "<a:s> <a:p> \"\\q\" .",
                                   "<a:s> <a:p> \"\\u12G4\" .",
                                   "<a:s> <a:p> \"\\uD800\" .",
                                   "<a:s> <a:p> \"\\U00110000\" .",
                                   "<a:s> <a:p> \"\\u12",
                                   "<a:s> <a:p> \"\\",
                                   "<a:s> <a:p> \"x\"@ .",
                                   "<a:s> <a:p> \"x\"@1 .",
                                   "<a:s> <a:p> \"x\"@en1 .",
                                   "<a:s> <a:p> \"x\"^<a:t> .",
                                   "<a:s> <a:p> \"x\"^^a:t .",
                                   "<a:s> <a:p> \"x\"^^<t> .",
                                   "<a:s> <a:p> \"x\" @en .",
                                   "<a:s> <a:p> \"\"\"x\"\"\" .",
                                   "\xEF\xBB\xBF<a:s> <a:p> <a:o> ."})
        for (const bool graphsAllowed : {false, true})
            EXPECT_FALSE(read(line, graphsAllowed)) << line;
}

} // namespace

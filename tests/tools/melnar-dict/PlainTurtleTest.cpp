#include "tools/melnar-dict/PlainTurtle.h"

#include "tools/melnar-dict/TurtleFilter.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Literals = std::vector<std::pair<uint64_t, std::string>>;

/// What a plain statement says, as far as it is told.
struct Findings {
    size_t m_length;
    size_t m_numberOfTriples;
    uint64_t m_lastLine;
    Literals m_literals;
};

std::string textOf(const SerdNode& node) {
    return {reinterpret_cast<const char*>(node.buf), node.n_bytes};
}

class PlainTurtleTest : public testing::Test {
protected:
    PlainTurtleTest() {
        std::string output;
        std::vector<uint64_t> lines;
        m_filter.filter("@prefix : <http://e/> . @prefix e-1: <http://e/> .", output, lines);
    }

    std::optional<Findings> read(const std::string& text) {
        PlainTurtle plainTurtle(m_filter);
        plainTurtle.reserve(text.size());
        const char* const end = plainTurtle.read(text.data(), text.data() + text.size(), 1);
        if (end == nullptr)
            return std::nullopt;
        Literals literals;
        for (const PlainTurtle::Literal& literal : plainTurtle.getLiterals())
            literals.emplace_back(literal.m_line,
                                  textOf(literal.m_text) + (literal.m_tag.type == SERD_NOTHING ? "" : "@") +
                                      textOf(literal.m_tag) + (literal.m_datatype.type == SERD_NOTHING ? "" : "^^") +
                                      textOf(literal.m_datatype));
        return Findings{static_cast<size_t>(end - text.data()), plainTurtle.getNumberOfTriples(), plainTurtle.getLine(),
                        literals};
    }

    TurtleFilter m_filter{false};
};

TEST_F(PlainTurtleTest, readsAWholeStatement) {
    const std::string statement =
        "# c\n:s a :T , <t> ;\n  e-1:p \"a\" ,\"b\"@en-GB # c . \n , \"c\"^^e-1:t ; :q \"\"\"d\n\"\\n\"\"\";;\n"
        "<q> _:b , 5, -1.5 , true , \"e\"^^<a:t> ; .";
    const std::optional<Findings> findings = read(statement + " :s :p :o .\n");
    ASSERT_TRUE(findings);
    EXPECT_EQ(statement.size(), findings->m_length);
    EXPECT_EQ(11u, findings->m_numberOfTriples);
    EXPECT_EQ(6u, findings->m_lastLine);
    EXPECT_EQ((Literals{{3, "a"}, {3, "b@en-GB"}, {4, "c^^e-1:t"}, {4, "d\n\"\n"}, {6, "e^^a:t"}}),
              findings->m_literals);
}

TEST_F(PlainTurtleTest, readsStringsOfBothLengths) {
    const std::vector<std::pair<std::string, std::string>> cases{{R"("")", ""},
                                                                 {R"("""""")", ""},
                                                                 {R"("\"\u00e9")", "\"\xC3\xA9"},
                                                                 {R"("""a""b"c""")", "a\"\"b\"c"},
                                                                 {R"("""\"""")", "\""},
                                                                 {R"("""a\\""")", "a\\"},
                                                                 {"\"\"\"a\r\nb\"\"\"", "a\r\nb"},
                                                                 {R"("""a"\n""")", "a\"\n"}};
    for (const auto& [literal, text] : cases) {
        const std::optional<Findings> findings = read("<s> <p> " + literal + " .");
        ASSERT_TRUE(findings) << literal;
        EXPECT_EQ(text, findings->m_literals.at(0).second) << literal;
    }
}

TEST_F(PlainTurtleTest, takesSpaceAndCommentsAtTheEndOfTheText) {
    for (const std::string text : {"", " \t\r\n", "# c", "\n# c\n\n", "# c\r\n"}) {
        const std::optional<Findings> findings = read(text);
        ASSERT_TRUE(findings) << text;
        EXPECT_EQ(text.size(), findings->m_length);
        EXPECT_EQ(0u, findings->m_numberOfTriples);
        EXPECT_EQ(1 + static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n')), findings->m_lastLine) << text;
    }
}

TEST_F(PlainTurtleTest, leavesTheRestToTheFilterAndTheParser) {
    for (const std::string statement : {"@prefix x: <x> .",
                                        "PREFIX x: <x>",
                                        "@base <x> .",
                                        "BASE <x>",
                                        "[] <p> <o> .",
                                        "<s> <p> [ <q> <o> ] .",
                                        "<s> <p> ( 1 ) .",
                                        "<s> <p> 'x' .",
                                        "<s> <p> \"x\" @en .",
                                        "<s> <p> \"x\"^^ :t .",
                                        "<s> <p> \"x\"^^<t> .",
                                        "<s> <p> \"x\"@ .",
                                        "<s> <p> \"x\"@en1 .",
                                        "<s> <p> \"\\q\" .",
                                        "<s> <p> \"x\ny\" .",
                                        "<s> <p> \"\"\"x\"\" .",
                                        "<s> <p> \"\"\"x\"\"\"\" .",
                                        "<s> <p> 5. ",
                                        "<s> <p> 5e3 .",
                                        "<s> <p> 5x .",
                                        "<s> <p> .5 .",
                                        "<s> <p> + .",
                                        "<s> <p> truth .",
                                        "<s> <p> :o.",
                                        "<s> <p> :a.b .",
                                        "<s> <p> :a:b .",
                                        "<s> <p> :a%20 .",
                                        "<s> <p> :\\~ .",
                                        "<s> <p> :\xC3\xA9 .",
                                        "<s> <p> :-a .",
                                        "<s> <p> : .",
                                        "<s> <p> x:o .",
                                        "<s> <p> true:o .",
                                        "<s> <p> _:o. ",
                                        "<s> <p> _:-o .",
                                        "_:s.t <p> <o> .",
                                        "<s> a<o> .",
                                        "<s> :p<o> .",
                                        ":s<p> <o> .",
                                        "<s> _:p <o> .",
                                        "<s> \"p\" <o> .",
                                        "\"s\" <p> <o> .",
                                        "<s> <p> <o>",
                                        "<s> <p> <o> ,",
                                        "<s> <p> <o> ;",
                                        "<s> <p> .",
                                        "<s> <p> , <o> .",
                                        "<s> ; <p> <o> .",
                                        "<s> .",
                                        ".",
                                        "<s> <p> <o> , .",
                                        "<s> <p> <o> <o> .",
                                        "<s> <p> <o\\u0041> .",
                                        "<s> <p> <a b> .",
                                        "<s> <p> <o",
                                        "<s> = <o> .",
                                        "<s> <p> <o> }",
                                        "{ <s> <p> <o> }",
                                        "true <p> <o> .",
                                        "5 <p> <o> ."})
        EXPECT_FALSE(read(statement)) << statement;
}

} // namespace

#include "tools/melnar-dict/SerdRun.h"

#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Gives serd a text as it stands and notes the objects that come back: literals with their datatype or tag, all other
/// nodes as "other".
class TextClient final : public SerdClient {
public:
    explicit TextClient(std::string text) : m_text(std::move(text)) {}

    size_t provideText(char* const buffer, const size_t size) override {
        ++m_numberOfPages;
        const size_t numberOfBytes = m_text.copy(buffer, size, m_offset);
        m_offset += numberOfBytes;
        return numberOfBytes;
    }

    const char* takeStatement(const SerdStatement& statement) override {
        std::string object = "other";
        if (statement.m_object->type == SERD_LITERAL) {
            object = "\"" + textOf(*statement.m_object) + "\"";
            if (statement.m_language != nullptr)
                object += "@" + textOf(*statement.m_language);
            if (statement.m_datatype != nullptr)
                object += "^^";
        }
        m_objects.push_back(object);
        if (object == m_thrownAt)
            throw std::runtime_error("thrown by the client");
        return object == m_refused ? "refused by the client" : nullptr;
    }

    const char* takeBase(const SerdNode& iri) override { return textOf(iri) == m_refused ? "refused base" : nullptr; }

    const char* takePrefix(const SerdNode& name, const SerdNode&) override {
        return textOf(name) == m_refused ? "refused prefix" : nullptr;
    }

    static std::string textOf(const SerdNode& node) { return {reinterpret_cast<const char*>(node.buf), node.n_bytes}; }

    const std::string m_text;
    size_t m_offset = 0;
    size_t m_numberOfPages = 0;
    std::string m_refused;
    std::string m_thrownAt;
    std::vector<std::string> m_objects;
};

using Objects = std::vector<std::string>;

class SerdRunTest : public testing::Test {
protected:
    /// What a run comes to: the fault as "LINE: CAUSE", or nothing.
    std::string run(TextClient& client, const SerdSyntax syntax = SERD_TURTLE) {
        const std::optional<SerdFault> fault = runSerd(syntax, client);
        m_objects = client.m_objects;
        return fault ? std::to_string(fault->m_line) + ": " + fault->m_cause : "";
    }

    std::string run(const std::string& text, const SerdSyntax syntax = SERD_TURTLE) {
        TextClient client(text);
        return run(client, syntax);
    }

    Objects m_objects;
};

TEST_F(SerdRunTest, readsATextToItsEnd) {
    EXPECT_EQ("", run("<s> <p> \"a\" , \"b\"@en , \"c\"^^<t> , <o> ."));
    EXPECT_EQ((Objects{"\"a\"", "\"b\"@en", "\"c\"^^", "other"}), m_objects);
    EXPECT_EQ("", run(""));
    EXPECT_EQ("", run("<a:s> <a:p> \"a\" <a:g> .\n", SERD_NQUADS));
    EXPECT_EQ(Objects{"\"a\""}, m_objects);
}

TEST_F(SerdRunTest, readsTextsOfEverySizeAroundAPage) {
    const std::string statement = "<s> <p> \"a\" .\n";
    for (size_t size = SERD_PAGE_SIZE - 20; size < SERD_PAGE_SIZE + 20; ++size) {
        EXPECT_EQ("", run(std::string(size - statement.size(), '\n') + statement)) << size;
        EXPECT_EQ(Objects{"\"a\""}, m_objects) << size;
    }
}

TEST_F(SerdRunTest, tellsLineAndCauseOfAFault) {
    EXPECT_EQ("3: invalid escape `\\q'", run("<s> <p> \"a\" .\n\n<s> <p> \"\\q\" .\n<s> <p> \"b\" ."));
    EXPECT_EQ(Objects{"\"a\""}, m_objects);
    EXPECT_EQ("1: unexpected end of file", run("<s> <p> \"a\""));
}

TEST_F(SerdRunTest, holdsSerdToErrorsThatItForgets) {
    EXPECT_EQ("1: unexpected `@'", run("<s> <p> \"a\"@@ , \"b\" . <s> <p> \"c\" ."));
    EXPECT_EQ(Objects{}, m_objects) << "nothing behind the first report counts";
    EXPECT_EQ("1: unicode character 0x110000 out of range", run("<s> <p> \"\\U00110000\" ."));
    EXPECT_EQ(Objects{}, m_objects);
}

TEST_F(SerdRunTest, endsWhereTheClientRefuses) {
    TextClient statementClient("<s> <p> \"a\" , \"b\" , \"c\" .");
    statementClient.m_refused = "\"b\"";
    EXPECT_EQ("0: refused by the client", run(statementClient));
    EXPECT_EQ((Objects{"\"a\"", "\"b\""}), m_objects);
    TextClient baseClient("@base <b> .");
    baseClient.m_refused = "b";
    EXPECT_EQ("0: refused base", run(baseClient));
    TextClient prefixClient("@prefix x: <b> .");
    prefixClient.m_refused = "x";
    EXPECT_EQ("0: refused prefix", run(prefixClient));
}

TEST_F(SerdRunTest, letsExceptionsOfTheClientOut) {
    TextClient client("<s> <p> \"a\" , \"b\" , \"c\" ." + std::string(10 * SERD_PAGE_SIZE, '\n'));
    client.m_thrownAt = "\"b\"";
    EXPECT_STREQ("thrown by the client",
                 catchException<std::runtime_error>([&] { runSerd(SERD_TURTLE, client); }).what());
    EXPECT_EQ((Objects{"\"a\"", "\"b\""}), client.m_objects);
    EXPECT_EQ(1u, client.m_numberOfPages) << "no more text is asked for";
}

// What the filter and the shapes of lines make up for. A serd that no longer does one of these needs less help.
TEST_F(SerdRunTest, knowsWhatSerdReadsWronglyWithoutHelp) {
    using namespace std::string_literals;
    const std::vector<std::pair<std::string, Objects>> cases{
        {"<s> <p> \"\"\"a\"\\n\"\"\" .", {"\"a\"\\n\""}},
        {"<s> <p> \"\"\"a\"\\\\n\"\"\" .", {"\"a\"\\\n\""}},
        {"<s> <p> 123.", {"\"123\""}},
        {"@prefix e: <e> . <s> <p> e:o..", {"other"}},
        {"<s> <p> \"\\uD800\" .", {"\"\xED\xA0\x80\""}},
        {"<s> <p> \"\xED\xA0\x80\" .", {"\"\xED\xA0\x80\""}},
        {"<s> <p> \"\xE2\xC3\xC3\" .", {"\"\xE2\xC3\xC3\""}},
        {"<s> <p> <a\\u000Ab> .", {"other"}},
        {"<s> u:p <o> .", {"other"}},
        {"<g> { <s> <p> <o> }", {"other"}},
        {"<s> <p> [ == <o> ; <p> \"x\" ] .", {"other", "\"x\""}},
        {"[] .", {}},
        {"word <p> <o> .", {"other"}},
        {"@prefixx: <o> .", {}},
        {"<s> <p> <o> .\0<s> <p> <o> ."s, {"other", "other"}},
        {"_:-a <p> <o> .", {"other"}},
        {"# \0 <s> <p> \"x\" ."s, {"\"x\""}},
        {"<s> <p> \"x\"@en- .", {"\"x\"@en-"}},
    };
    for (const auto& [text, objects] : cases) {
        EXPECT_EQ("", run(text)) << text;
        EXPECT_EQ(objects, m_objects) << text;
    }
}

TEST_F(SerdRunTest, knowsWhatSerdRefusesWronglyWithoutHelp) {
    for (const std::string text :
         {"@prefix true: <t> . <s> <p> true:x .", "_:b1 <p> _:B1 .", "<s> <p> \"x\" @en .", "<s> <p> \"x\" ^^<t> ."})
        EXPECT_NE("", run(text)) << text;
    EXPECT_NE("", run("<a:s> <a:p> <a:o> _:g.", SERD_NQUADS));
    for (const std::string label : {"_:base", "_:PREFIX", "_:Graph"}) {
        EXPECT_NE("", run(label + " <a:p> <a:o> .", SERD_NTRIPLES)) << label;
        EXPECT_EQ("", run("<a:s> <a:p> " + label + " .", SERD_NTRIPLES)) << label;
    }
}

} // namespace

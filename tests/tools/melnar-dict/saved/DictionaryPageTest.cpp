#include "tools/melnar-dict/saved/DictionaryPage.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/tools/melnar-dict/saved/SampleTerms.h"
#include "tools/melnar-dict/saved/PageCharts.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace {

DictionaryPortrait portrayTerms() {
    return DictionaryPortrait::of(*makeDictionaryOfTerms(), "terms.dict");
}

DictionaryPortrait portray(const std::vector<std::string>& plainLiterals) {
    Dictionary dictionary({.m_memoryLimit = size_t(1) << 30, .m_maximumNumberOfResources = 1000000});
    {
        DictionaryThread thread(dictionary);
        for (const std::string& plainLiteral : plainLiterals)
            dictionary.resolveResource(thread, plainLiteral, D_RDF_PLAIN_LITERAL);
    }
    return DictionaryPortrait::of(dictionary, "strings.dict");
}

size_t count(const std::string& page, const std::string& text) {
    size_t occurrences = 0;
    for (size_t found = page.find(text); found != std::string::npos; found = page.find(text, found + 1))
        ++occurrences;
    return occurrences;
}

TEST(DictionaryPageTest, everySectionIsThereWithAHeadingAndWhatWouldBeUnusual) {
    for (const DictionaryPortrait& portrait : {portray({}), portray({"a@en", "b@de"})}) {
        const std::string page = toDictionaryPage(portrait);
        EXPECT_TRUE(page.starts_with(BEGINNING_OF_A_DICTIONARY_PAGE));
        EXPECT_TRUE(page.ends_with("</html>\n"));
        EXPECT_EQ(1u, count(page, "<h1>"));
        EXPECT_EQ(6u, count(page, "<h2>"));
        EXPECT_EQ(6u, count(page, "<b>Unusual</b> would be "));
        for (const char* const id : {"memory", "occupancy", "probes", "lengths", "languages", "unused"})
            EXPECT_EQ(1u, count(page, "<section id=\"" + std::string(id) + "\">")) << id;
        EXPECT_EQ(count(page, "<svg"), count(page, "role=\"img\" aria-label=\"Share"));
        EXPECT_EQ(0u, count(page, "{}")) << "no value is missing";
        EXPECT_EQ(0u, count(page, "nan"));
        EXPECT_EQ(0u, count(page, "inf"));
    }
}

TEST(DictionaryPageTest, termsAreCalledSoAndShownByTheirKinds) {
    const std::string page = toDictionaryPage(portrayTerms());
    EXPECT_EQ(1u, count(page, "<title>terms.dict – term dictionary</title>"));
    EXPECT_EQ(1u, count(page, "<p class=\"quiet\">Term dictionary</p>"));
    EXPECT_EQ(1u, count(page, "<dt>terms</dt><dd>18</dd>"));
    EXPECT_EQ(7u, count(page, "<h2>"));
    EXPECT_EQ(7u, count(page, "<b>Unusual</b> would be "));
    EXPECT_EQ(1u, count(page, "<section id=\"kinds\">"));
    for (const char* const kind : {"xsd:string", "rdf:PlainLiteral", "IRIs", "blank nodes", "typed literals",
                                   "directional strings", "triple terms"}) {
        EXPECT_EQ(1u, count(page, "<tr>\n<th scope=\"row\">" + std::string(kind) + "</th>")) << kind;
        EXPECT_EQ(3u, count(page, "<figcaption><b>" + std::string(kind) + "</b>")) << kind;
        EXPECT_EQ(1u, count(page, "<th scope=\"row\">Hash table of " + std::string(kind) + " <span")) << kind;
        EXPECT_EQ(1u, count(page, "Buckets of withdrawn terms, " + std::string(kind))) << kind;
    }
    EXPECT_EQ(1u, count(page, "<th scope=\"row\">Shared texts of IRIs <span"));
    EXPECT_EQ(0u, count(page, "Shared texts of blank nodes")) << "there are too few of them";
    EXPECT_EQ(1u, count(page, "Directional strings are not counted."));
    EXPECT_EQ(0u, count(page, "{}"));
    EXPECT_EQ(0u, count(page, "example.org")) << "no text of the dictionary";
    EXPECT_EQ(0u, count(page, "each string")) << page;
}

TEST(DictionaryPageTest, stringsAloneAreCalledSoAndHaveNoKinds) {
    const std::string page = toDictionaryPage(portray({"a@en", "b@de"}));
    for (const char* const text : {"strings.dict – string dictionary</title>", "String dictionary", "<dt>strings</dt>",
                                   "<h2>String lengths</h2>", "bytes a string beyond its text", "IDs without a string"})
        EXPECT_EQ(1u, count(page, text)) << text;
    for (const char* const text : {"term", "kinds", "Directional", "IRI"})
        EXPECT_EQ(0u, count(page.substr(page.find("<body>")), text)) << text;
}

TEST(DictionaryPageTest, nothingComesFromOutsideThePage) {
    const std::string page = toDictionaryPage(portray({"a@en"})) + toDictionaryPage(portrayTerms());
    const std::regex outside("https?:|//|url\\(|@import|src=|href=|<script|<link|<iframe|<object|<embed| on[a-z]+=",
                             std::regex::icase);
    std::smatch found;
    EXPECT_FALSE(std::regex_search(page, found, outside)) << found.str();
}

TEST(DictionaryPageTest, hostileNamesAndTagsStayText) {
    DictionaryPortrait portrait = portray({"a@en"});
    const std::string hostile = "</title><script>alert(1)</script>\"onload='x\" {} &amp; \x1B[31m \xFF";
    const std::string escaped = "&lt;/title&gt;&lt;script&gt;alert(1)&lt;/script&gt;&quot;onload=&#39;x&quot; {} "
                                "&amp;amp; \uFFFD[31m \uFFFD";
    portrait.m_name = hostile;
    portrait.m_languages[0].m_tag = hostile;
    const std::string page = toDictionaryPage(portrait);
    EXPECT_EQ(3u, count(page, escaped)) << "title, heading and tag";
    EXPECT_EQ(2u, count(page, "<bdi>" + escaped + "</bdi>")) << "no text of the other direction turns its neighbours";
    EXPECT_EQ(0u, count(page, "<script"));
    EXPECT_EQ(0u, count(page, "\x1B"));
    EXPECT_EQ(count(page, "<title>"), count(page, "</title>"));
}

TEST(DictionaryPageTest, manyLanguagesAreSummedUp) {
    std::vector<std::string> plainLiterals;
    for (int tag = 0; tag < 25; ++tag)
        for (int text = tag; text < 25; ++text)
            plainLiterals.push_back(std::to_string(text) + "@x-" + std::to_string(10 + tag));
    const std::string page = toDictionaryPage(portray(plainLiterals));
    EXPECT_EQ(1u, count(page, "<bdi>x-29</bdi>")) << "the twentieth";
    EXPECT_EQ(0u, count(page, "<bdi>x-30</bdi>"));
    EXPECT_NE(std::string::npos, page.find("5 other tags</th><td></td><td class=\"number\">15 <span"));
    EXPECT_NE(std::string::npos, page.find("325 strings with a language tag, of 25 tags."));
    plainLiterals.resize(310); // without the last five tags
    EXPECT_EQ(0u, count(toDictionaryPage(portray(plainLiterals)), "other tag"));
}

TEST(DictionaryPageTest, theSamePortraitGivesTheSamePage) {
    EXPECT_EQ(toDictionaryPage(portray({"a@en", "b@de"})), toDictionaryPage(portray({"a@en", "b@de"})));
}

TEST(PageChartsTest, smallTablesHaveFewSegments) {
    TableProfile table{"name", 1024, std::vector<size_t>(256, 1), {}};
    table.m_usedBuckets[255] = 3;
    std::vector<size_t> expected(16, 16);
    expected[15] = 18;
    EXPECT_EQ(expected, mergeSegments(table));
    table.m_numberOfBuckets = 256 * 64;
    EXPECT_EQ(table.m_usedBuckets, mergeSegments(table)) << "64 buckets in each are enough";
    table.m_numberOfBuckets = 256 * 32;
    EXPECT_EQ(128u, mergeSegments(table).size());
}

TEST(PageChartsTest, axesHaveAtMostFiveTicks) {
    for (uint64_t most = 1; most <= 100; ++most) {
        std::vector<ChartColumn> columns(100 / most, {"1–2", "1", "2", most});
        columns.push_back({"3–4", "3", "4", 100 % most});
        const std::string chart = drawLengths(columns, "name", "string").getMarkup();
        EXPECT_GE(5u, count(chart, "<line class=\"grid\"")) << most;
        EXPECT_LE(2u, count(chart, "<line class=\"grid\"")) << most;
    }
}

TEST(PageChartsTest, longStringsHaveNoMoreNamesThanThereIsRoomFor) {
    for (size_t columns = 1; columns < 60; ++columns) {
        const std::string chart =
            drawLengths(std::vector<ChartColumn>(columns, {"1", "edge", "edge", 1}), "name", "string").getMarkup();
        EXPECT_GE(11u, count(chart, ">edge<")) << columns;
        EXPECT_LE(1u, count(chart, ">edge<")) << columns;
    }
}

} // namespace

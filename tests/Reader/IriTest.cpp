#include "Reader/Iri.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace Rdf;

std::string resolve(const std::string_view base, const std::string_view reference) {
    TextArena arena;
    return std::string(IriResolver(base).resolve(reference, arena));
}

TEST(IriTest, theExamplesOfRfc3986) {
    const std::vector<std::pair<std::string_view, std::string_view>> examples{
        {"g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/"},
        {"/g", "http://a/g"},
        {"//g", "http://g"},
        {"?y", "http://a/b/c/d;p?y"},
        {"g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q#s"},
        {"g#s", "http://a/b/c/g#s"},
        {"g?y#s", "http://a/b/c/g?y#s"},
        {";x", "http://a/b/c/;x"},
        {"g;x", "http://a/b/c/g;x"},
        {"g;x?y#s", "http://a/b/c/g;x?y#s"},
        {"", "http://a/b/c/d;p?q"},
        {".", "http://a/b/c/"},
        {"./", "http://a/b/c/"},
        {"..", "http://a/b/"},
        {"../", "http://a/b/"},
        {"../g", "http://a/b/g"},
        {"../..", "http://a/"},
        {"../../", "http://a/"},
        {"../../g", "http://a/g"},
        {"../../../g", "http://a/g"},
        {"../../../../g", "http://a/g"},
        {"/./g", "http://a/g"},
        {"/../g", "http://a/g"},
        {"g.", "http://a/b/c/g."},
        {".g", "http://a/b/c/.g"},
        {"g..", "http://a/b/c/g.."},
        {"..g", "http://a/b/c/..g"},
        {"./../g", "http://a/b/g"},
        {"./g/.", "http://a/b/c/g/"},
        {"g/./h", "http://a/b/c/g/h"},
        {"g/../h", "http://a/b/c/h"},
        {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
        {"g;x=1/../y", "http://a/b/c/y"},
        {"g?y/./x", "http://a/b/c/g?y/./x"},
        {"g?y/../x", "http://a/b/c/g?y/../x"},
        {"g#s/./x", "http://a/b/c/g#s/./x"},
        {"g#s/../x", "http://a/b/c/g#s/../x"},
    };
    for (const auto& [reference, expected] : examples)
        EXPECT_EQ(expected, resolve("http://a/b/c/d;p?q", reference)) << reference;
}

TEST(IriTest, basesOfOtherShapes) {
    EXPECT_EQ("http://a/x", resolve("http://a", "x"));
    EXPECT_EQ("http://a?q#x", resolve("http://a?q#f", "#x"));
    EXPECT_EQ("http://a/?x", resolve("http://a/?q#f", "?x"));
    EXPECT_EQ("urn:x", resolve("urn:y", "x"));
    EXPECT_EQ("urn:a:b#x", resolve("urn:a:b", "#x"));
    EXPECT_EQ("file:///b", resolve("file:///a", "b"));
    EXPECT_EQ("http://a/b/x", resolve("http://a/b/c?q/r", "x"));
    EXPECT_EQ("s:/x", resolve("s:/a/b", "../../x"));
    EXPECT_EQ("s:/x", resolve("s:a/b", "../x")) << "what a path without a slash begins with is taken away whole";
    EXPECT_EQ("s:/x", resolve("s:a/../c", "x"));
    EXPECT_EQ("http://a//x", resolve("http://a//b", "x"));
    EXPECT_EQ("http://a/bä/x", resolve("http://a/bä/c", "x"));
}

TEST(IriTest, theBaseMayChange) {
    TextArena arena;
    IriResolver resolver("");
    EXPECT_FALSE(resolver.hasBase());
    resolver.setBase("http://a/b");
    EXPECT_TRUE(resolver.hasBase());
    EXPECT_EQ("http://a/c", resolver.resolve("c", arena));
}

TEST(IriTest, anAbsoluteIriStartsWithAScheme) {
    for (const char* const iri : {"a:", "http://x", "a+b-c.d1:x", "A:b"})
        EXPECT_TRUE(isAbsoluteIri(iri)) << iri;
    for (const char* const iri : {"", "a", ":a", "1a:b", "a/b:c", "a_b:c", "//a:b", "#a:b", "ä:b", "a ä:b"})
        EXPECT_FALSE(isAbsoluteIri(iri)) << iri;
}

} // namespace

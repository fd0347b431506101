#include "tools/melnar-dict/pieces/BlankNodeScope.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

std::string getLabel(const uint64_t document, const std::string_view label) {
    std::string output;
    BlankNodeScope::appendLabel(document, label, output);
    return output;
}

TEST(BlankNodeScopeTest, labelsOfTheFirstDocumentStay) {
    for (const char* const label : {"b", "doc", "doc2", "doc-", "doc-a", "docs2-a", "doc0-a", "doc02-a", "doc_2",
                                    "doc_", "Doc2-a", "d", "doc99999999999999999999-a"})
        EXPECT_EQ(label, getLabel(1, label));
}

TEST(BlankNodeScopeTest, labelsOfOtherDocumentsTellTheDocument) {
    EXPECT_EQ("doc2-b", getLabel(2, "b"));
    EXPECT_EQ("doc17-doc2-b", getLabel(17, "doc2-b"));
    EXPECT_EQ(17u, BlankNodeScope::getDocument("doc17-doc2-b"));
    EXPECT_EQ(1u, BlankNodeScope::getDocument("b"));
    EXPECT_EQ(1u, BlankNodeScope::getDocument("doc_17-b"));
    EXPECT_EQ(1u, BlankNodeScope::getDocument("doc17"));
    EXPECT_EQ(1u, BlankNodeScope::getDocument("doc017-b"));
    EXPECT_EQ(UINT64_MAX, BlankNodeScope::getDocument("doc18446744073709551615-b"));
}

TEST(BlankNodeScopeTest, noTwoLabelsBecomeOne) {
    EXPECT_EQ("doc_2-b", getLabel(1, "doc2-b"));
    EXPECT_EQ("doc__2-b", getLabel(1, "doc_2-b"));
    std::set<std::string> labels;
    size_t numberOfLabels = 0;
    for (const uint64_t document : {1u, 2u, 3u, 22u})
        for (const char* const label :
             {"b", "2-b", "doc2-b", "doc_2-b", "doc__2-b", "doc22-b", "doc2-doc2-b", "_2-b"}) {
            labels.insert(getLabel(document, label));
            ++numberOfLabels;
            EXPECT_EQ(document, BlankNodeScope::getDocument(getLabel(document, label))) << label;
        }
    EXPECT_EQ(numberOfLabels, labels.size());
}

} // namespace

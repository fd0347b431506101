#include "tools/melnar-dict/saved/OrderedMerge.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string merge(const std::vector<std::string>& lists) {
    std::vector<char> items;
    for (const std::string& list : lists) {
        OrderedMerge place(items);
        for (const char item : list)
            EXPECT_EQ(item,
                      place.findOrMake([item](const char other) { return other == item; }, [item] { return item; }));
    }
    return {items.begin(), items.end()};
}

TEST(OrderedMergeTest, itemsOfOneListStayInOrder) {
    EXPECT_EQ("", merge({"", ""}));
    EXPECT_EQ("abc", merge({"abc", "", "abc"}));
}

TEST(OrderedMergeTest, newItemsComeAfterTheOneBeforeThem) {
    EXPECT_EQ("abcd", merge({"acd", "abd"}));
    EXPECT_EQ("abcd", merge({"bc", "abcd"}));
    EXPECT_EQ("abcd", merge({"ab", "bcd"}));
    EXPECT_EQ("abxc", merge({"ac", "abx", "bc"}));
}

} // namespace

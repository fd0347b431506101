#include "tools/melnar-dict/shell/Progress.h"

#include <gtest/gtest.h>

namespace {

constexpr uint64_t MEBIBYTE = 1 << 20;

TEST(ProgressTest, describesAllThatIsKnown) {
    EXPECT_EQ("loading: 25 % of 400 MiB, 50.0 MiB/s, 1,234,567 literals, 42 distinct, 10.0 MiB of memory, 6.0 s left",
              describeProgress(
                  {"loading", 100 * MEBIBYTE, 400 * MEBIBYTE, {{1234567, "literals"}, {42, "distinct"}}, 10 * MEBIBYTE},
                  2.0));
}

TEST(ProgressTest, describesWorkWithoutATotal) {
    EXPECT_EQ("loading: 100 MiB, 50.0 MiB/s, 7 literals, 2.0 s",
              describeProgress({"loading", 100 * MEBIBYTE, 0, {{7, "literals"}}}, 2.0));
    EXPECT_EQ("saving 'd', 12 s", describeProgress({"saving 'd'"}, 12.0));
}

TEST(ProgressTest, holdsAtTheStartAndAtTheEnd) {
    EXPECT_EQ("loading: 0 % of 1.00 MiB, 0.0 s", describeProgress({"loading", 0, MEBIBYTE}, 0));
    EXPECT_EQ("loading: 99 % of 1.00 MiB, 1.00 MiB/s, 0.0 s left",
              describeProgress({"loading", MEBIBYTE - 1, MEBIBYTE}, 1.0));
    EXPECT_EQ("loading: 100 % of 1.00 MiB, 2.00 MiB/s, 0.0 s left",
              describeProgress({"loading", 4 * MEBIBYTE, MEBIBYTE}, 2.0))
        << "the file has grown";
}

} // namespace

#include "tests/Reader/GraphIsomorphism.h"

#include <gtest/gtest.h>

namespace {

TEST(GraphIsomorphismTest, labelsAndOrderDoNotMatter) {
    EXPECT_TRUE(areIsomorphic("", ""));
    EXPECT_TRUE(areIsomorphic("_:a <p> _:b .\n_:b <p> \"x _:a\" .\n", "_:c <p> \"x _:a\" .\n_:d <p> _:c .\n"));
    EXPECT_TRUE(areIsomorphic("_:a <p> _:b .\n_:b <p> _:a .\n", "_:x <p> _:y .\n_:y <p> _:x .\n"));
}

TEST(GraphIsomorphismTest, everythingElseMatters) {
    EXPECT_FALSE(areIsomorphic("", "<s> <p> <o> .\n"));
    EXPECT_FALSE(areIsomorphic("_:a <p> _:b .\n", "_:a <p> _:a .\n"));
    EXPECT_FALSE(areIsomorphic("_:a <p> \"x _:a\" .\n", "_:a <p> \"x _:b\" .\n"));
    EXPECT_FALSE(
        areIsomorphic("_:a <p> _:b .\n_:b <p> _:c .\n_:c <p> _:a .\n_:d <p> _:e .\n_:e <p> _:f .\n_:f <p> _:d .\n",
                      "_:a <p> _:b .\n_:b <p> _:c .\n_:c <p> _:d .\n_:d <p> _:e .\n_:e <p> _:f .\n_:f <p> _:a .\n"));
}

} // namespace

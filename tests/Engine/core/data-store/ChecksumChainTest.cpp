#include "Engine/core/data-store/ChecksumChain.h"

#include <gtest/gtest.h>

using namespace melnar;

namespace {

using Value = ChecksumChain::Value;

TEST(ChecksumChainTest, isTheHashThatFilesAreDescribedWith) {
    ChecksumChain chain;
    EXPECT_EQ(Value{}, chain.getValue());
    chain.add(0); // 128-bit XXH3 over 24 zero bytes, according to the xxHash program
    EXPECT_EQ((Value{0x743DF94EE4C78A2A, 0x10E45C7CE2292320}), chain.getValue());
}

TEST(ChecksumChainTest, dependsOnEveryNumberAndTheirOrder) {
    const auto getValue = [](const std::initializer_list<uint64_t> numbers) {
        ChecksumChain chain;
        for (const uint64_t number : numbers)
            chain.add(number);
        return chain.getValue();
    };
    EXPECT_EQ(getValue({1, 2}), getValue({1, 2}));
    EXPECT_NE(getValue({1, 2}), getValue({2, 1}));
    EXPECT_NE(getValue({1, 2}), getValue({1, 3}));
    EXPECT_NE(getValue({1, 2}), getValue({1, 2, 0}));
    EXPECT_NE(getValue({0}), getValue({0, 0}));
}

TEST(ChecksumChainTest, continuesAfterAValue) {
    ChecksumChain whole;
    whole.add(1);
    ChecksumChain rest(whole.getValue());
    whole.add(2);
    rest.add(2);
    EXPECT_EQ(whole.getValue(), rest.getValue());
}

} // namespace

#include "Engine/core/platform/stream/MemoryInputStream.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

using namespace melnar;

TEST(MemoryInputStreamTest, deliversAtMostTheRemainingBytes) {
    MemoryInputStream input("abcde");
    std::array<char, 4> data{};
    EXPECT_EQ(4u, input.read(data.data(), 4));
    EXPECT_EQ("abcd", std::string(data.data(), 4));
    EXPECT_EQ(1u, input.getNumberOfRemainingBytes());
    EXPECT_EQ(1u, input.read(data.data(), 4));
    EXPECT_EQ('e', data[0]);
}

TEST(MemoryInputStreamTest, deliversNothingAtItsEndEverAgain) {
    MemoryInputStream input("a");
    std::array<char, 2> data{};
    EXPECT_EQ(1u, input.read(data.data(), 2));
    EXPECT_EQ(0u, input.read(data.data(), 2));
    EXPECT_EQ(0u, input.read(data.data(), 2));
    EXPECT_EQ("memory", input.getName());
}

TEST(MemoryInputStreamTest, emptyMemoryIsAtItsEnd) {
    MemoryInputStream input(std::string_view{});
    char byte;
    EXPECT_EQ(0u, input.read(&byte, 1));
    EXPECT_EQ(0u, input.getNumberOfRemainingBytes());
}

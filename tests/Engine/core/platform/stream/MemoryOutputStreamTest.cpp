#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>

#include <string>

using namespace melnar;

TEST(MemoryOutputStreamTest, bytesAreCollectedInOrder) {
    MemoryOutputStream output;
    output.write("ab", 2);
    output.write("", 0);
    output.write("\0c", 2);
    output.flush();
    EXPECT_EQ(std::string("ab\0c", 4), output.getBytes());
    output.write("d", 1);
    EXPECT_EQ(std::string("ab\0cd", 5), output.getBytes());
}

TEST(MemoryOutputStreamTest, newStreamIsEmpty) {
    const MemoryOutputStream output;
    EXPECT_EQ("", output.getBytes());
    EXPECT_EQ("memory", output.getName());
}

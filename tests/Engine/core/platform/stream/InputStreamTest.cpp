#include "Engine/core/platform/stream/InputStream.h"

#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/support/CaughtException.h"
#include "tests/support/MeagreInputStream.h"
#include "tests/support/VirtualSlots.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <type_traits>
#include <vector>

using namespace melnar;

namespace {

/// Claims to deliver all requested bytes, and writes nothing.
class BottomlessInputStream final : public InputStream {
public:
    const std::string& getName() const override { return m_name; }

    size_t read(void* const data, const size_t numberOfBytes) override {
        m_positions.push_back(data);
        m_requests.push_back(numberOfBytes);
        return numberOfBytes;
    }

    std::vector<void*> m_positions;
    std::vector<size_t> m_requests;

private:
    const std::string m_name = "bottomless";
};

std::string getBytesOfString(const std::string& text) {
    MemoryOutputStream output;
    output.writeString(text);
    return output.getBytes();
}

} // namespace

TEST(InputStreamTest, readIsTheFourthVirtualOperation) {
    static_assert(std::has_virtual_destructor_v<InputStream>);
    EXPECT_EQ(2u, getVirtualSlot(&InputStream::getName));
    EXPECT_EQ(3u, getVirtualSlot(&InputStream::read));
}

TEST(InputStreamTest, readExactlyContinuesUntilAllBytesAreRead) {
    MeagreInputStream input("abcdefgh", 3);
    std::array<char, 8> data{};
    input.readExactly(data.data(), data.size());
    EXPECT_EQ("abcdefgh", std::string(data.data(), data.size()));
    EXPECT_EQ((std::vector<size_t>{8, 5, 2}), input.m_requests);
}

TEST(InputStreamTest, readExactlyOfNothingRequestsNothing) {
    MeagreInputStream input("", 1);
    input.readExactly(nullptr, 0);
    EXPECT_TRUE(input.m_requests.empty());
}

TEST(InputStreamTest, noReadRequestsMoreThanOneSystemCallReads) {
    const size_t size = 2 * size_t(0x7FFFF000) + 4096;
    void* const data = VirtualMemory::reserve(size);
    ASSERT_NE(nullptr, data);
    BottomlessInputStream input;
    input.readExactly(data, size);
    VirtualMemory::release(data, size);
    EXPECT_EQ((std::vector<size_t>{0x7FFFF000, 0x7FFFF000, 4096}), input.m_requests);
    ASSERT_EQ(3u, input.m_positions.size());
    EXPECT_EQ(data, input.m_positions[0]);
    EXPECT_EQ(static_cast<char*>(data) + 0x7FFFF000, input.m_positions[1]);
    EXPECT_EQ(static_cast<char*>(data) + 2 * size_t(0x7FFFF000), input.m_positions[2]);
}

TEST(InputStreamTest, numbersAreTheirRawBytes) {
    MemoryOutputStream output;
    output.writeUInt64(0x0102030405060708u);
    output.writeUInt32(0xA1A2A3A4u);
    MemoryInputStream input(output.getBytes());
    EXPECT_EQ(0x0102030405060708u, input.readUInt64());
    EXPECT_EQ(0xA1A2A3A4u, input.readUInt32());
    EXPECT_EQ(0u, input.getNumberOfRemainingBytes());
}

TEST(InputStreamTest, numbersMayArriveByteByByte) {
    MemoryOutputStream output;
    output.writeUInt64(0x0102030405060708u);
    MeagreInputStream input(output.getBytes(), 1);
    EXPECT_EQ(0x0102030405060708u, input.readUInt64());
}

TEST(InputStreamTest, expectedStringIsRecognised) {
    const std::string bytes = getBytesOfString("StringDatatype") + "rest";
    MemoryInputStream input(bytes);
    EXPECT_TRUE(input.readsString("StringDatatype"));
    EXPECT_EQ(4u, input.getNumberOfRemainingBytes());
}

TEST(InputStreamTest, emptyStringIsRecognised) {
    const std::string bytes = getBytesOfString("");
    MemoryInputStream input(bytes);
    EXPECT_TRUE(input.readsString(""));
}

TEST(InputStreamTest, otherStringOfTheSameLengthIsNotTheExpectedOne) {
    const std::string bytes = getBytesOfString("StringDatatypf");
    MemoryInputStream input(bytes);
    EXPECT_FALSE(input.readsString("StringDatatype"));
}

TEST(InputStreamTest, wildStringLengthIsNotReadBeyond) {
    MemoryOutputStream output;
    output.writeUInt64(0xFFFFFFFFFFFFFFFFu);
    MemoryInputStream input(output.getBytes());
    EXPECT_FALSE(input.readsString("StringDatatype"));
}

TEST(InputStreamTest, earlyEndIsReportedWithItsPlace) {
    MemoryInputStream input("abc");
    std::array<char, 4> data{};
    const auto exception = catchException<MelnarException>([&] { input.readExactly(data.data(), data.size()); });
    EXPECT_EQ("Premature end of stream.", exception.getMessage());
    EXPECT_EQ("Engine/core/platform/stream/InputStream", exception.getSourceFileName());
    EXPECT_EQ(26, exception.getSourceLineNumber());
    EXPECT_TRUE(exception.getCauses().empty());
    EXPECT_EQ("abc", std::string(data.data(), 3)) << "what there was has been read";
}

TEST(InputStreamTest, numbersAndStringsThatEndEarlyAreReported) {
    for (const size_t size : {0u, 1u, 7u}) {
        const std::string bytes(size, 'x');
        MemoryInputStream input(bytes);
        EXPECT_EQ("Premature end of stream.",
                  catchException<MelnarException>([&] { input.readUInt64(); }).getMessage());
    }
    MemoryInputStream shortNumber("abc");
    EXPECT_EQ("Premature end of stream.",
              catchException<MelnarException>([&] { shortNumber.readUInt32(); }).getMessage());
    const std::string bytes = getBytesOfString("abc").substr(0, 10);
    MemoryInputStream shortString(bytes);
    EXPECT_EQ("Premature end of stream.",
              catchException<MelnarException>([&] { shortString.readsString("abc"); }).getMessage());
}

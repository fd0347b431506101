#include "Engine/core/platform/stream/OutputStream.h"

#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/support/VirtualSlots.h"

#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <type_traits>

using namespace melnar;

namespace {

/// Converts the bytes of a little-endian machine to those of this machine.
std::string inMachineOrder(const std::string& littleEndianBytes) {
    return std::endian::native == std::endian::little
               ? littleEndianBytes
               : std::string(littleEndianBytes.rbegin(), littleEndianBytes.rend());
}

} // namespace

TEST(OutputStreamTest, writeIsTheFourthVirtualOperation) {
    static_assert(std::has_virtual_destructor_v<OutputStream>);
    EXPECT_EQ(2u, getVirtualSlot(&OutputStream::getName));
    EXPECT_EQ(3u, getVirtualSlot(&OutputStream::write));
}

TEST(OutputStreamTest, numbersAreWrittenAsTheirRawBytes) {
    MemoryOutputStream output;
    output.writeUInt64(0x0102030405060708u);
    EXPECT_EQ(inMachineOrder("\x08\x07\x06\x05\x04\x03\x02\x01"), output.getBytes());
    MemoryOutputStream narrowOutput;
    narrowOutput.writeUInt32(0x01020304u);
    EXPECT_EQ(inMachineOrder("\x04\x03\x02\x01"), narrowOutput.getBytes());
}

TEST(OutputStreamTest, stringsAreWrittenAsLengthAndBytes) {
    MemoryOutputStream output;
    output.writeString(std::string("a\0b", 3));
    EXPECT_EQ(inMachineOrder(std::string("\3\0\0\0\0\0\0\0", 8)) + std::string("a\0b", 3), output.getBytes());
}

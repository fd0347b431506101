#include "Reader/ByteScan.h"

#include "tests/support/GuardedBytes.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace Rdf;

/// Tries every byte at every position of texts of every length up to some vectors, and compares with a scan byte by
/// byte.
template<class Stop>
void checkAllBytesAndPlaces() {
    for (size_t size = 0; size <= 40; ++size)
        for (int byte = 0; byte < 256; ++byte)
            for (size_t place = 0; place < size; ++place) {
                std::string text(size, Stop::matches('a') ? '\x80' : 'a');
                text[place] = static_cast<char>(byte);
                const bool matches = Stop::matches(static_cast<uint8_t>(byte));
                const char* const begin = text.data();
                ASSERT_EQ(begin + (matches ? place : size), ByteScan::find<Stop>(begin, begin + size)) << byte;
                ASSERT_EQ(matches ? 1u : 0u, ByteScan::count<Stop>(begin, begin + size)) << byte;
            }
}

TEST(ByteScanTest, vectorsFindAndCountWhatMatches) {
    checkAllBytesAndPlaces<ByteScan::IriStop>();
    checkAllBytesAndPlaces<ByteScan::CanonicalEscape>();
    checkAllBytesAndPlaces<ByteScan::AnyOf<'"', '\\', '\n', '\r'>>();
    checkAllBytesAndPlaces<ByteScan::NotAscii>();
    checkAllBytesAndPlaces<ByteScan::CharacterStart>();
}

TEST(ByteScanTest, aStringStopsAtItsOwnQuote) {
    for (const char quote : {'"', '\''})
        for (int byte = 0; byte < 256; ++byte)
            for (size_t place = 0; place < 40; ++place) {
                std::string text(40, 'x');
                text[place] = static_cast<char>(byte);
                const bool isStop = byte == quote || byte == '\\' || byte == '\n' || byte == '\r';
                const char* const begin = text.data();
                ASSERT_EQ(begin + (isStop ? place : text.size()),
                          ByteScan::find(begin, begin + text.size(), ByteScan::StringStop{quote}))
                    << byte;
            }
}

TEST(ByteScanTest, copiesTheBytesBeforeAStop) {
    for (size_t size = 0; size <= 40; ++size)
        for (size_t place = 0; place <= size; ++place) {
            std::string text = std::string("0123456789abcdefghijklmnopqrstuvwxyzABCDEFG").substr(0, size);
            if (place != size)
                text[place] = '"';
            const GuardedBytes copy(size, GuardedBytes::FlushWith::END_OF_PAGE); // a write after its end crashes
            char* output = copy.get();
            const char* const end = text.data() + size;
            ASSERT_EQ(text.data() + place, ByteScan::copyUntil(text.data(), end, ByteScan::StringStop{'"'}, output));
            ASSERT_EQ(text.substr(0, place), std::string(copy.get(), output));
        }
}

TEST(ByteScanTest, anIriHoldsNoControlsSpacesOrDelimiters) {
    for (int byte = 0; byte < 256; ++byte)
        EXPECT_EQ(byte <= 0x20 || std::string_view("<>\"{}|^`\\").find(static_cast<char>(byte)) != std::string::npos,
                  ByteScan::IriStop::matches(static_cast<uint8_t>(byte)))
            << byte;
}

TEST(ByteScanTest, theFirstOfSeveralIsFoundAndAllAreCounted) {
    const std::string text(100, '\n');
    EXPECT_EQ(text.data() + 3, ByteScan::find<ByteScan::AnyOf<'\n'>>(text.data() + 3, text.data() + 100));
    for (size_t size = 0; size <= text.size(); ++size)
        EXPECT_EQ(size, ByteScan::count<ByteScan::AnyOf<'\n'>>(text.data(), text.data() + size));
}

} // namespace

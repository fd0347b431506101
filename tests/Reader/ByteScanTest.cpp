#include "Reader/ByteScan.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace Rdf;

/// Every byte at every place of texts of every length up to some vectors: as one byte at a time says.
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

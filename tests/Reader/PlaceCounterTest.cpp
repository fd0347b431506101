#include "Reader/PlaceCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

using namespace Rdf;

namespace {

uint64_t countLines(const std::string_view text) {
    return static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

/// Makes a text with lines of all lengths, some characters of several bytes, and carriage returns.
std::string makeText(std::minstd_rand& random, const size_t size) {
    std::string text;
    while (text.size() < size)
        switch (random() % 40) {
        case 0:
            text += '\n';
            break;
        case 1:
            text += "\r\n";
            break;
        case 2:
            text += "\xC3\xA4";
            break;
        default:
            text += 'x';
        }
    return text;
}

TEST(PlaceCounterTest, findsPlacesAndLinesInAnyOrder) {
    std::minstd_rand random(1);
    for (const size_t size : {size_t(0), size_t(1), size_t(4095), size_t(4096), size_t(4097), size_t(30000)}) {
        const std::string text = makeText(random, size);
        PlaceCounter places;
        places.startText(text.data(), {7, 3, 100});
        for (size_t question = 0; question < 500; ++question) {
            const size_t offset = random() % (text.size() + 1);
            const char* const at = text.data() + offset;
            const std::string_view before(text.data(), offset);
            ASSERT_EQ(7 + countLines(before), places.findLine(at)) << offset;
            const Place place = places.find(at);
            ASSERT_EQ(7 + countLines(before), place.m_line) << offset;
            ASSERT_EQ(100 + offset, place.m_offset);
            const size_t lineEnd = before.find_last_of("\r\n");
            const std::string_view line = before.substr(lineEnd + 1); // npos + 1 is 0
            const auto characters = std::count_if(line.begin(), line.end(), [](const char character) {
                return (static_cast<uint8_t>(character) & 0xC0) != 0x80;
            });
            ASSERT_EQ((lineEnd == std::string_view::npos ? 3u : 1u) + static_cast<uint64_t>(characters), place.m_column)
                << offset;
        }
        places.endText(text.data() + text.size());
        EXPECT_EQ(7 + countLines(text), places.getBegin().m_line);
        places.startText(text.data());
        EXPECT_EQ(7 + countLines(text), places.findLine(text.data()));
    }
}

/// The place of an object with many annotations is requested repeatedly: counting from the start or from the last place
/// would take minutes.
TEST(PlaceCounterTest, earlierLinesAreFoundWithoutCountingAgain) {
    constexpr size_t SIZE = size_t(1) << 26;
    const std::string text(SIZE, '\n');
    PlaceCounter places;
    places.startText(text.data(), {});
    for (size_t offset = 0; offset < SIZE; offset += SIZE / 16384) {
        ASSERT_EQ(offset + 1, places.findLine(text.data() + offset));
        ASSERT_EQ(offset / 2 + 1, places.findLine(text.data() + offset / 2));
        ASSERT_EQ(offset / 3 + 1, places.findLine(text.data() + offset / 3));
    }
}

} // namespace

#include "melnar.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr size_t NUMBER_OF_THREADS = 4;
constexpr size_t NUMBER_OF_TEXTS = 20000;
constexpr size_t TEXTS_OF_CALL = 50;

std::string makeText(const size_t number) {
    return "text " + std::to_string(number);
}

} // namespace

TEST(MelnarConcurrentTest, columnsAreEncodedWhileOthersCommitSaveAndRead) {
    constexpr melnar_options OPTIONS = {size_t(256) << 20, 1000000};
    melnar_dictionary* dictionary;
    ASSERT_EQ(MELNAR_OK, melnar_create(&OPTIONS, &dictionary, nullptr));
    std::vector<std::vector<uint64_t>> ids(NUMBER_OF_THREADS, std::vector<uint64_t>(NUMBER_OF_TEXTS));
    runTogether(NUMBER_OF_THREADS, [&](const size_t threadIndex) {
        std::vector<std::string> texts(TEXTS_OF_CALL);
        std::vector<const char*> pointers(TEXTS_OF_CALL);
        for (size_t begin = 0; begin < NUMBER_OF_TEXTS; begin += TEXTS_OF_CALL) {
            for (size_t index = 0; index < TEXTS_OF_CALL; ++index) {
                texts[index] = makeText((begin + index) * (threadIndex % 2 == 0 ? 1 : 3) % NUMBER_OF_TEXTS);
                pointers[index] = texts[index].c_str();
            }
            uint64_t* const ofCall = ids[threadIndex].data() + begin;
            melnar_error error;
            ASSERT_EQ(MELNAR_OK,
                      melnar_encode(dictionary, pointers.data(), nullptr, TEXTS_OF_CALL, nullptr, ofCall, &error))
                << error.message;
            if (threadIndex == 0 && begin % 1000 == 0) {
                ASSERT_EQ(MELNAR_OK, melnar_commit(dictionary, nullptr, &error));
            }
            melnar_column column;
            ASSERT_EQ(MELNAR_OK, melnar_decode(dictionary, ofCall, TEXTS_OF_CALL, &column, &error));
            ASSERT_EQ(texts.back(), std::string(column.bytes + column.offsets[TEXTS_OF_CALL - 1], texts.back().size()));
            melnar_column_free(&column);
        }
    });
    for (size_t number = 0; number < NUMBER_OF_TEXTS; ++number) {
        ASSERT_EQ(ids[0][number], ids[2][number]) << "all threads agree";
        ASSERT_EQ(ids[1][number], ids[0][number * 3 % NUMBER_OF_TEXTS]);
    }
    uint64_t size;
    EXPECT_EQ(MELNAR_OK, melnar_size(dictionary, &size, nullptr));
    EXPECT_EQ(NUMBER_OF_TEXTS, size);
    uint64_t bytes;
    EXPECT_EQ(MELNAR_OK, melnar_memory_in_use(dictionary, &bytes, nullptr));
    EXPECT_GT(uint64_t(4) << 20, bytes) << "the 1600 calls left unused blocks";
    melnar_close(dictionary);
}

TEST(MelnarConcurrentTest, rollbacksComeBetweenCalls) {
    constexpr melnar_options OPTIONS = {size_t(256) << 20, 1000000};
    melnar_dictionary* dictionary;
    ASSERT_EQ(MELNAR_OK, melnar_create(&OPTIONS, &dictionary, nullptr));
    runTogether(NUMBER_OF_THREADS, [&](const size_t threadIndex) {
        std::vector<uint64_t> ids(TEXTS_OF_CALL);
        std::vector<const char*> pointers(TEXTS_OF_CALL);
        std::vector<std::string> texts(TEXTS_OF_CALL);
        for (size_t call = 0; call < 200; ++call) {
            if (threadIndex == 0) {
                ASSERT_EQ(MELNAR_OK, melnar_rollback(dictionary, nullptr));
                continue;
            }
            for (size_t index = 0; index < TEXTS_OF_CALL; ++index) {
                texts[index] = makeText(call * TEXTS_OF_CALL + index);
                pointers[index] = texts[index].c_str();
            }
            ASSERT_EQ(MELNAR_OK,
                      melnar_encode(dictionary, pointers.data(), nullptr, TEXTS_OF_CALL, nullptr, ids.data(), nullptr));
        }
    });
    ASSERT_EQ(MELNAR_OK, melnar_rollback(dictionary, nullptr));
    uint64_t size;
    EXPECT_EQ(MELNAR_OK, melnar_size(dictionary, &size, nullptr));
    EXPECT_EQ(0u, size);
    melnar_close(dictionary);
}

#include "Engine/core/platform/stream/FileLock.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

/// Each writer opens the dictionary, adds its own literal and saves it. Without a lock that covers all three steps, the
/// last one to save would undo the others' work, and two literals would get the same ID.
TEST(DictionaryFileLockConcurrentTest, literalsOfManyWritersAreAllKept) {
    constexpr size_t THREADS = 4;
    constexpr size_t ROUNDS = 10;
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    Dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW}).save(path);
    std::vector<std::vector<uint64_t>> resourceIDs(THREADS);
    std::vector<std::thread> threads;
    for (size_t threadIndex = 0; threadIndex < THREADS; ++threadIndex)
        threads.emplace_back([&, threadIndex] {
            for (size_t round = 0; round < ROUNDS; ++round) {
                FileLock lock(path, [](const std::string&, const std::function<void()>& wait) { wait(); });
                const auto dictionary =
                    Dictionary::open(lock.getTarget().getName(), {.m_memoryLimit = TEST_MEMORY_LIMIT});
                {
                    DictionaryThread thread(*dictionary);
                    const std::string text = std::to_string(threadIndex) + " " + std::to_string(round);
                    resourceIDs[threadIndex].push_back(dictionary->resolveResource(thread, text, D_XSD_STRING));
                }
                dictionary->commit();
                dictionary->save(lock);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    const auto dictionary = Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT});
    EXPECT_EQ(THREADS * ROUNDS + 1, dictionary->getNextResourceID());
    std::string lexicalForm;
    for (size_t threadIndex = 0; threadIndex < THREADS; ++threadIndex)
        for (size_t round = 0; round < ROUNDS; ++round) {
            dictionary->getResource(resourceIDs[threadIndex][round], lexicalForm);
            EXPECT_EQ(std::to_string(threadIndex) + " " + std::to_string(round), lexicalForm);
        }
    EXPECT_NO_THROW(dictionary->verify());
}

} // namespace

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

TEST(FileLockConcurrentTest, aWaitEndsWhenTheLockIsReleased) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("file");
    std::optional<FileLock> first(std::in_place, path);
    std::promise<void> isAboutToWait;
    std::atomic<bool> isReleased(false);
    std::thread waiter([&] {
        const FileLock second(path, [&](const std::string&, const std::function<void()>& wait) {
            isAboutToWait.set_value();
            wait();
        });
        EXPECT_TRUE(isReleased.load());
    });
    isAboutToWait.get_future().wait();
    isReleased.store(true);
    first.reset();
    waiter.join();
    EXPECT_FALSE(std::filesystem::exists(path + ".lock"));
}

/// The purpose of the lock: reading, changing and replacing a file in turn.
TEST(FileLockConcurrentTest, changesOfManyWritersAreAllKept) {
    constexpr size_t THREADS = 4;
    constexpr size_t ROUNDS = 100;
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("file", "0");
    std::atomic<size_t> holders(0);
    std::atomic<size_t> waits(0);
    std::vector<std::thread> threads;
    for (size_t threadIndex = 0; threadIndex < THREADS; ++threadIndex)
        threads.emplace_back([&] {
            for (size_t round = 0; round < ROUNDS; ++round) {
                FileLock lock(path, [&](const std::string&, const std::function<void()>& wait) {
                    waits.fetch_add(1);
                    wait();
                });
                EXPECT_EQ(0u, holders.fetch_add(1));
                const std::string changed = std::to_string(std::stoul(TemporaryDirectory::getContentsOf(path)) + 1);
                AtomicFileOutputStream output(lock);
                output.write(changed.data(), changed.size());
                output.commit();
                EXPECT_EQ(1u, holders.fetch_sub(1));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(std::to_string(THREADS * ROUNDS), TemporaryDirectory::getContentsOf(path));
    EXPECT_GT(waits.load(), 0u) << "the writers never met: nothing was tested";
    EXPECT_FALSE(std::filesystem::exists(path + ".lock"));
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
}

} // namespace

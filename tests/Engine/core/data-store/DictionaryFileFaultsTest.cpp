#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/DictionaryContents.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr std::array ERROR_CODES = {EIO, ENOSPC, ENOMEM, EINTR};

class DictionaryFileFaultsTest : public testing::TestWithParam<DictionaryContents> {
protected:
    /// Makes a dictionary whose file takes several writes and reads.
    static std::unique_ptr<Dictionary> makeDictionary(const size_t numberOfLiterals) {
        auto dictionary = std::make_unique<Dictionary>(DictionaryOptions{
            .m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam().m_maximumNumberOfResources});
        DictionaryThread thread(*dictionary);
        for (size_t number = 1; number <= numberOfLiterals; ++number)
            GetParam().resolve(*dictionary, thread, number);
        dictionary->commit();
        return dictionary;
    }
};

/// Runs `attempt` with each occurrence of a call failing in turn, once and permanently and with each error code, until
/// a run has no failure. Returns how many calls failed altogether.
size_t failEachOccurrence(const Call call, const std::function<void(SystemCallFaults&)>& attempt) {
    size_t failedCalls = 0;
    for (const int errorCode : ERROR_CODES)
        for (const Duration duration : {Duration::ONCE, Duration::FOR_GOOD}) {
            if (errorCode == EINTR && duration == Duration::FOR_GOOD)
                continue; // an interrupted call is repeated; nothing interrupts forever
            for (size_t occurrence = 0;; ++occurrence) {
                SystemCallFaults faults(call);
                faults.failAfter(occurrence, errorCode, duration);
                attempt(faults);
                if (faults.getNumberOfFailures() == 0)
                    break;
                failedCalls += faults.getNumberOfFailures();
            }
        }
    return failedCalls;
}

TEST_P(DictionaryFileFaultsTest, everyCallOfSaveFailsAtEveryOccurrence) {
    const std::unique_ptr<Dictionary> oldDictionary = makeSampleDictionary(NARROW);
    const std::unique_ptr<Dictionary> newDictionary = makeDictionary(5000);
    const std::string oldBytes = writeToMemory(*oldDictionary);
    const std::string newBytes = writeToMemory(*newDictionary);
    size_t failedCalls = 0;
    size_t oldStayed = 0;
    size_t newCame = 0;
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    for (const Call call :
         {Call::OPEN, Call::FLOCK, Call::STAT, Call::LSTAT, Call::FSTAT, Call::FCHMOD, Call::FCHOWN, Call::WRITE,
          Call::FSYNC, Call::CLOSE, Call::RENAME, Call::UNLINK, Call::REALPATH, Call::PREAD})
        for (const bool isShort : {false, true}) {
            if (isShort && call == Call::WRITE)
                continue; // a call is watched once; another test covers short writes that fail
            failedCalls += failEachOccurrence(call, [&](const SystemCallFaults& faults) {
                directory.addFile("strings.dict", oldBytes);
                bool isSaved = false;
                try {
                    if (isShort) {
                        SystemCallFaults writes(Call::WRITE);
                        writes.shortenTo(50000);
                        newDictionary->save(path);
                    } else
                        newDictionary->save(path);
                    isSaved = true;
                } catch (const SystemCallException&) {
                    EXPECT_GT(faults.getNumberOfFailures(), 0u);
                }
                const std::string bytes = TemporaryDirectory::getContentsOf(path);
                ASSERT_TRUE(bytes == newBytes || (!isSaved && bytes == oldBytes))
                    << "occurrence of " << static_cast<size_t>(call);
                (bytes == newBytes ? newCame : oldStayed) += 1;
            });
            // Leftovers do not prevent the next save, which leaves nothing.
            ASSERT_NO_THROW(newDictionary->save(path));
            ASSERT_FALSE(std::filesystem::exists(path + ".saving"));
            ASSERT_NO_THROW(Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT})->verify());
        }
    EXPECT_GT(failedCalls, 100u);
    EXPECT_GT(oldStayed, 0u);
    EXPECT_GT(newCame, 0u);
    std::cout << "Calls of save failed: " << failedCalls << "; old file whole: " << oldStayed
              << ", new file whole: " << newCame << '\n';
}

TEST_P(DictionaryFileFaultsTest, aDiskThatFillsUpAfterAnyByteLeavesTheOldFileAndNoOther) {
    const std::unique_ptr<Dictionary> newDictionary = makeDictionary(300);
    const std::string oldBytes = writeToMemory(*makeSampleDictionary(NARROW));
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("strings.dict", oldBytes);
    size_t refused = 0;
    for (size_t allowedWrites = 0;; ++allowedWrites) {
        SystemCallFaults writes(Call::WRITE);
        writes.shortenTo(101);
        writes.failAfter(allowedWrites, ENOSPC, Duration::FOR_GOOD);
        try {
            newDictionary->save(path);
            break;
        } catch (const SystemCallException& exception) {
            ASSERT_EQ(ENOSPC, exception.getErrorCode());
        }
        ASSERT_EQ(oldBytes, TemporaryDirectory::getContentsOf(path));
        ASSERT_FALSE(std::filesystem::exists(path + ".saving"));
        ++refused;
    }
    EXPECT_EQ(writeToMemory(*newDictionary), TemporaryDirectory::getContentsOf(path));
    EXPECT_GT(refused, 300u);
}

/// If the file of a failed save cannot be removed, the next save takes it over.
TEST_P(DictionaryFileFaultsTest, aFileThatCannotBeRemovedDoesNotHinder) {
    const std::unique_ptr<Dictionary> dictionary = makeDictionary(300);
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    {
        SystemCallFaults writes(Call::WRITE);
        writes.failAfter(1, EIO, Duration::FOR_GOOD); // after the lock file's
        SystemCallFaults unlinks(Call::UNLINK);
        unlinks.failAfter(0, EIO, Duration::FOR_GOOD);
        EXPECT_THROW(dictionary->save(path), SystemCallException);
        EXPECT_EQ(2u, unlinks.getNumberOfFailures());
    }
    EXPECT_TRUE(std::filesystem::exists(path + ".saving"));
    EXPECT_TRUE(std::filesystem::exists(path + ".lock"));
    EXPECT_THROW(static_cast<void>(Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT})), SystemCallException)
        << "there is no file yet";
    dictionary->save(path);
    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
    EXPECT_FALSE(std::filesystem::exists(path + ".lock"));
    EXPECT_NO_THROW(Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT})->verify());
}

TEST_P(DictionaryFileFaultsTest, everyCallOfOpenFailsAtEveryOccurrence) {
    const std::unique_ptr<Dictionary> dictionary = makeDictionary(5000);
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    dictionary->save(path);
    const std::string bytes = TemporaryDirectory::getContentsOf(path);
    size_t failedCalls = 0;
    for (const Call call : {Call::OPEN, Call::READ, Call::MMAP, Call::MPROTECT})
        for (const bool isShort : {false, true}) {
            if (isShort && call == Call::READ)
                continue;
            failedCalls += failEachOccurrence(call, [&](const SystemCallFaults& faults) {
                try {
                    std::unique_ptr<Dictionary> copy;
                    if (isShort) {
                        SystemCallFaults reads(Call::READ);
                        reads.shortenTo(777);
                        copy = Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT});
                    } else
                        copy = Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT});
                    ASSERT_EQ(bytes, writeToMemory(*copy));
                } catch (const SystemCallException&) {
                    ASSERT_GT(faults.getNumberOfFailures(), 0u);
                }
            });
            ASSERT_EQ(bytes, TemporaryDirectory::getContentsOf(path));
        }
    // A failing close or munmap is no reason to refuse what has been read.
    for (const Call call : {Call::CLOSE, Call::MUNMAP})
        failedCalls += failEachOccurrence(call, [&](const SystemCallFaults&) {
            ASSERT_EQ(bytes, writeToMemory(*Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT})));
        });
    EXPECT_GT(failedCalls, 100u);
    std::cout << "Calls of open failed: " << failedCalls << '\n';
}

TEST_P(DictionaryFileFaultsTest, noAddressSpaceLeaksWhenOpeningFails) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    makeDictionary(5000)->save(path);
    for (const Call call : {Call::READ, Call::MPROTECT})
        failEachOccurrence(call, [&](const SystemCallFaults&) {
            SystemCallFaults reservations(Call::MMAP);
            SystemCallFaults releases(Call::MUNMAP);
            try {
                static_cast<void>(Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT}));
            } catch (const SystemCallException&) {
            }
            ASSERT_EQ(reservations.getNumberOfCalls(), releases.getNumberOfCalls());
        });
}

INSTANTIATE_TEST_SUITE_P(Contents, DictionaryFileFaultsTest,
                         testing::Values(DictionaryContents{NARROW, false}, DictionaryContents{NARROW, true}),
                         nameContents);

} // namespace

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/DictionaryContents.h"
#include "tests/Engine/core/data-store/MemoryCharges.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <initializer_list>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr std::initializer_list<int> ERROR_CODES = {EIO, ENOSPC, ENOMEM, EINTR};

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

/// Makes reads or writes transfer less than requested, unless the faults are those of this call.
class ShortTransfers {
public:
    ShortTransfers(const Call call, const size_t maximumBytes, const Fault& fault) {
        if (fault.m_call != call)
            m_transfers.emplace(call).shortenTo(maximumBytes);
    }

private:
    std::optional<SystemCallFaults> m_transfers;
};

TEST_P(DictionaryFileFaultsTest, everyCallOfSaveFailsAtEveryOccurrence) {
    const std::unique_ptr<Dictionary> newDictionary = makeDictionary(5000);
    const std::string oldBytes = writeToMemory(*makeSampleDictionary(NARROW));
    const std::string newBytes = writeToMemory(*newDictionary);
    size_t oldStayed = 0;
    size_t newCame = 0;
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    FailureCounts counts;
    for (const bool isHampered : {false, true}) // by short writes and by what a killed writer has left
        counts += failEach(
            ofCalls({Call::OPEN, Call::FLOCK, Call::STAT, Call::LSTAT, Call::FSTAT, Call::FCHMOD, Call::FCHOWN,
                     Call::WRITE, Call::FSYNC, Call::CLOSE, Call::RENAME, Call::UNLINK, Call::REALPATH, Call::PREAD},
                    ERROR_CODES),
            [&](FailureRound& round) {
                directory.addFile("strings.dict", oldBytes);
                if (isHampered) {
                    directory.addFile("strings.dict.saving", "left");
                    directory.addFile("strings.dict.lock", "melnar lock: process 1 on host left\n");
                }
                const bool isSaved = round.attempt([&] {
                    const ShortTransfers writes(Call::WRITE, isHampered ? 50000 : newBytes.size(), round.getFault());
                    newDictionary->save(path);
                });
                const std::string bytes = TemporaryDirectory::getContentsOf(path);
                EXPECT_TRUE(bytes == newBytes || (!isSaved && bytes == oldBytes));
                (bytes == newBytes ? newCame : oldStayed) += 1;
                if (!isSaved || std::filesystem::exists(path + ".saving") || std::filesystem::exists(path + ".lock")) {
                    newDictionary->save(path);
                    EXPECT_TRUE(newBytes == TemporaryDirectory::getContentsOf(path));
                    EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
                    EXPECT_FALSE(std::filesystem::exists(path + ".lock"));
                }
            });
    EXPECT_NO_THROW(Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT})->verify());
    EXPECT_GT(counts.m_failures, 100u);
    EXPECT_GT(oldStayed, 0u);
    EXPECT_GT(newCame, 0u);
    std::cout << "Calls of save failed: " << counts.m_failures << "; old file whole: " << oldStayed
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
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    makeDictionary(5000)->save(path);
    const std::string bytes = TemporaryDirectory::getContentsOf(path);
    FailureCounts counts;
    const auto open = [&path] { return Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT}); };
    for (const bool isShort : {false, true})
        counts += failEach(
            ofCalls({Call::OPEN, Call::READ, Call::MMAP, Call::MPROTECT}, ERROR_CODES), [&](FailureRound& round) {
                std::unique_ptr<Dictionary> copy;
                const bool isOpen = round.attempt([&] {
                    const ShortTransfers reads(Call::READ, isShort ? 777 : bytes.size(), round.getFault());
                    copy = open();
                });
                if (!isOpen)
                    copy = open();
                EXPECT_TRUE(bytes == writeToMemory(*copy));
                expectChargesAddUp(*copy);
            });
    const size_t numberOfThrows = counts.m_throws;
    counts += failEach(ofCalls({Call::CLOSE, Call::MUNMAP, Call::MADVISE}, ERROR_CODES), [&](FailureRound& round) {
        round.attempt([&] { EXPECT_TRUE(bytes == writeToMemory(*open())); });
    });
    EXPECT_EQ(numberOfThrows, counts.m_throws) << "a file that has been read is refused";
    EXPECT_TRUE(bytes == TemporaryDirectory::getContentsOf(path));
    EXPECT_GT(counts.m_failures, 100u);
    std::cout << "Calls of open failed: " << counts.m_failures << '\n';
}

INSTANTIATE_TEST_SUITE_P(Contents, DictionaryFileFaultsTest,
                         testing::Values(DictionaryContents{NARROW, false}, DictionaryContents{NARROW, true}),
                         nameContents);

} // namespace

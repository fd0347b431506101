#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/DictionaryContents.h"
#include "tests/support/RecordedDisk.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char* FILE_NAME = "strings.dict";
constexpr size_t RANDOM_STATES = 100;

/// Makes the folder as a process finds it after a power cut.
void writeState(const TemporaryDirectory& directory, const RecordedDisk::State& state) {
    for (const auto& entry : std::filesystem::directory_iterator(directory.getPathOf("")))
        std::filesystem::remove(entry.path());
    for (const auto& [name, contents] : state)
        directory.addFile(name, contents);
}

std::unique_ptr<Dictionary> makeNewDictionary(const DictionaryContents& contents) {
    std::unique_ptr<Dictionary> dictionary = makeSampleDictionary(NARROW);
    DictionaryThread thread(*dictionary);
    for (size_t number = 1; number <= 300; ++number)
        contents.resolve(*dictionary, thread, number);
    dictionary->commit();
    return dictionary;
}

/// Saves a new dictionary over an old one and records the disk. Small writes allow many moments for a cut.
class DictionaryFilePowerCutTest : public testing::TestWithParam<DictionaryContents> {
protected:
    DictionaryFilePowerCutTest()
        : m_path(m_directory.addFile(FILE_NAME, m_oldBytes)), m_disk(m_directory.getPathOf("")), m_random(1) {}

    void save() {
        SystemCallFaults writes(SystemCallFaults::Call::WRITE);
        writes.shortenTo(4096);
        m_newDictionary->save(m_path);
    }

    const std::unique_ptr<Dictionary> m_newDictionary = makeNewDictionary(GetParam());
    const std::string m_oldBytes = writeToMemory(*makeSampleDictionary(NARROW));
    const std::string m_newBytes = writeToMemory(*m_newDictionary);
    const TemporaryDirectory m_directory;
    const std::string m_path;
    RecordedDisk m_disk;
    std::minstd_rand m_random;
};

TEST_P(DictionaryFilePowerCutTest, leavesTheOldFileOrTheNewOneWhenever) {
    save();
    EXPECT_EQ(m_newBytes, TemporaryDirectory::getContentsOf(m_path));
    const size_t numberOfOperations = m_disk.getNumberOfOperations();
    EXPECT_GT(numberOfOperations, 15u);
    size_t oldStates = 0;
    size_t newStates = 0;
    std::set<std::string> strayFiles;
    for (size_t operations = 0; operations <= numberOfOperations; ++operations)
        for (const RecordedDisk::State& state : m_disk.getStates(operations, RANDOM_STATES, m_random)) {
            ASSERT_EQ(1u, state.count(FILE_NAME)) << "after operation " << operations;
            const std::string& bytes = state.at(FILE_NAME);
            ASSERT_TRUE(bytes == m_oldBytes || bytes == m_newBytes) << "after operation " << operations;
            (bytes == m_newBytes ? newStates : oldStates) += 1;
            if (state.count("strings.dict.saving") != 0)
                strayFiles.insert(state.at("strings.dict.saving"));
            ASSERT_LE(state.size(), 3u) << "more than the file, the unfinished one and the lock file";
            if (operations == numberOfOperations) {
                ASSERT_EQ(m_newBytes, bytes) << "a save that has returned is on the disk";
            }
        }
    EXPECT_GT(oldStates, 100u);
    EXPECT_GT(newStates, 0u);
    EXPECT_GT(strayFiles.size(), 100u) << "the disk has been kind";
    std::cout << "Power cuts after " << numberOfOperations + 1 << " moments: " << oldStates + newStates
              << " states, old: " << oldStates << ", new: " << newStates
              << "; different files left: " << strayFiles.size() << '\n';
}

class DictionaryFileAfterPowerCutTest : public testing::TestWithParam<DictionaryContents> {};

TEST_P(DictionaryFileAfterPowerCutTest, whatIsLeftOpensAndIsSavedOver) {
    const std::unique_ptr<Dictionary> newDictionary = makeNewDictionary(GetParam());
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf(FILE_NAME);
    makeSampleDictionary(NARROW)->save(path);
    std::vector<RecordedDisk::State> states;
    {
        RecordedDisk disk(directory.getPathOf(""));
        std::minstd_rand random(2);
        newDictionary->save(path);
        for (size_t operations = 0; operations <= disk.getNumberOfOperations(); ++operations)
            for (RecordedDisk::State& state : disk.getStates(operations, 3, random))
                states.push_back(std::move(state));
    }
    EXPECT_GT(states.size(), 20u);
    size_t takenOver = 0;
    size_t locksLeft = 0;
    for (const RecordedDisk::State& state : states) {
        writeState(directory, state);
        ASSERT_NO_THROW(Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT})->verify());
        takenOver += state.count("strings.dict.saving");
        newDictionary->save(path);
        ASSERT_EQ(writeToMemory(*newDictionary), TemporaryDirectory::getContentsOf(path));
        ASSERT_FALSE(std::filesystem::exists(path + ".saving"));
        ASSERT_FALSE(std::filesystem::exists(path + ".lock"));
        locksLeft += state.count("strings.dict.lock");
    }
    EXPECT_GT(takenOver, 10u);
    EXPECT_GT(locksLeft, 10u);
}

/// Tests the scaffolding itself: it would detect a save that did not flush its file.
TEST_P(DictionaryFilePowerCutTest, aSaveWithoutFlushingWouldLeaveNeither) {
    save();
    m_disk.forgetFlushesOfFiles();
    size_t damagedStates = 0;
    for (size_t operations = 0; operations <= m_disk.getNumberOfOperations(); ++operations)
        for (const RecordedDisk::State& state : m_disk.getStates(operations, RANDOM_STATES, m_random)) {
            const std::string& bytes = state.at(FILE_NAME);
            if (bytes == m_oldBytes || bytes == m_newBytes)
                continue;
            ++damagedStates;
            ASSERT_THROW(readFromMemory(bytes), MelnarException) << "what is neither is refused";
        }
    EXPECT_GT(damagedStates, 10u);
}

const auto CONTENTS = testing::Values(DictionaryContents{NARROW, false}, DictionaryContents{NARROW, true});

INSTANTIATE_TEST_SUITE_P(Contents, DictionaryFilePowerCutTest, CONTENTS, nameContents);
INSTANTIATE_TEST_SUITE_P(Contents, DictionaryFileAfterPowerCutTest, CONTENTS, nameContents);

} // namespace

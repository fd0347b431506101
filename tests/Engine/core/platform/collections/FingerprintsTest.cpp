#include "Engine/core/platform/collections/Fingerprints.h"

#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/Engine/core/platform/collections/RandomNumbers.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>

#include <sys/resource.h>

using namespace melnar;

namespace {

using Call = SystemCallFaults::Call;

constexpr size_t AMPLE_MEMORY = size_t(1) << 20;

using Group = std::array<uint8_t, Fingerprints::GROUP_SIZE>;

class FingerprintsTest : public testing::Test {
protected:
    FingerprintsTest() : m_pageSize(getVMPageSize()), m_memoryManager(AMPLE_MEMORY), m_fingerprints(m_memoryManager) {}

    static size_t getChargedBytes(const MemoryManager& memoryManager) {
        return memoryManager.getReservedBytes() - memoryManager.getFreeBytes();
    }

    static void store(Fingerprints& fingerprints, const size_t firstIndex, const Group& group) {
        for (size_t place = 0; place < group.size(); ++place)
            fingerprints.set(firstIndex + place, group[place]);
    }

    static uint32_t getCandidatesOneByOne(const Group& group, const uint8_t fingerprint) {
        uint32_t candidates = 0;
        for (size_t place = 0; place < group.size(); ++place)
            if (group[place] == 0 || group[place] == fingerprint)
                candidates |= uint32_t(1) << place;
        return candidates;
    }

    static uint32_t getCandidatesPortably(const Group& group, const uint8_t fingerprint) {
        uint64_t words[2];
        static_assert(sizeof(words) == sizeof(group));
        std::memcpy(words, group.data(), sizeof(words));
        return Fingerprints::getCandidatesPortably(words[0], fingerprint) |
               Fingerprints::getCandidatesPortably(words[1], fingerprint) << 8;
    }

    /// Gets the candidates of every fingerprint in a group in each of the three ways.
    void expectCandidatesAgree(const Group& group) {
        constexpr size_t FIRST_INDEX = 2 * Fingerprints::GROUP_SIZE;
        store(m_fingerprints, FIRST_INDEX, group);
        for (uint32_t fingerprint = 1; fingerprint <= 255; ++fingerprint) {
            const auto wanted = static_cast<uint8_t>(fingerprint);
            const uint32_t expected = getCandidatesOneByOne(group, wanted);
            ASSERT_EQ(expected, m_fingerprints.getCandidates(FIRST_INDEX, wanted)) << fingerprint;
            ASSERT_EQ(expected, getCandidatesPortably(group, wanted)) << fingerprint;
        }
    }

    /// Expects that there are none: nothing is charged, and no operation has an effect.
    static void expectNoneAndHarmless(Fingerprints& fingerprints, const MemoryManager& memoryManager) {
        const auto expectNone = [&] {
            EXPECT_FALSE(fingerprints.exist());
            EXPECT_FALSE(fingerprints.areComplete());
            EXPECT_EQ(0u, fingerprints.getCommittedBytes());
            EXPECT_EQ(0u, getChargedBytes(memoryManager));
        };
        expectNone();
        fingerprints.set(0, 7);
        fingerprints.set(100'000'000, 7);
        fingerprints.copy(3, 5);
        fingerprints.clear();
        fingerprints.truncate(16);
        fingerprints.truncate(8);
        expectNone();
        fingerprints.deinitialize();
        expectNone();
    }

    const size_t m_pageSize;
    MemoryManager m_memoryManager;
    Fingerprints m_fingerprints;
};

} // namespace

TEST_F(FingerprintsTest, touchChangesNothing) {
    m_fingerprints.touch(3); // there are none yet
    m_fingerprints.initialize(16, true);
    for (uint32_t fingerprint = 0; fingerprint <= 255; ++fingerprint) {
        m_fingerprints.set(3, static_cast<uint8_t>(fingerprint));
        m_fingerprints.touch(3);
        EXPECT_EQ(fingerprint, m_fingerprints[3]);
    }
}

TEST_F(FingerprintsTest, aTouchedPageIsReadAndWrittenWithoutAFault) {
    constexpr size_t NUMBER_OF_PAGES = 64;
    const auto countFaults = [&](const auto& access) {
        rusage before;
        rusage after;
        ::getrusage(RUSAGE_THREAD, &before);
        for (size_t page = 0; page < NUMBER_OF_PAGES; ++page)
            access(page * m_pageSize);
        ::getrusage(RUSAGE_THREAD, &after);
        return static_cast<size_t>(after.ru_minflt - before.ru_minflt);
    };
    m_fingerprints.initialize(NUMBER_OF_PAGES * m_pageSize, true);
    EXPECT_LE(NUMBER_OF_PAGES, countFaults([&](const size_t index) { m_fingerprints.touch(index); }));
    EXPECT_GT(NUMBER_OF_PAGES, countFaults([&](const size_t index) {
                  EXPECT_EQ(0u, m_fingerprints[index]);
                  m_fingerprints.set(index, 1);
              }));
}

TEST_F(FingerprintsTest, aFingerprintIsNeverTheMarkOfAnUnknownOne) {
    RandomNumbers random(1);
    std::set<uint8_t> fingerprints;
    for (uint64_t hash = 0; hash < 100'000; ++hash) {
        const uint64_t randomHash = uint64_t(random.below(0xFFFFFFFF)) << 32 | random.below(0xFFFFFFFF);
        for (const uint64_t any : {hash, hash << 30, hash << 48, ~hash, randomHash})
            fingerprints.insert(Fingerprints::get(any));
    }
    EXPECT_EQ(255u, fingerprints.size());
    EXPECT_FALSE(fingerprints.contains(0));
    static_assert(Fingerprints::get(0) == 1, "the hash whose product has no top byte");
}

TEST_F(FingerprintsTest, hashesOfOneHomeBucketHaveNearlyAllFingerprints) {
    constexpr uint32_t HOME_BITS = 30;
    for (uint64_t home = 0; home < uint64_t(1) << HOME_BITS; home += 0x0123'4567) {
        SCOPED_TRACE(home);
        std::array<uint32_t, 256> frequencies{};
        RandomNumbers random(static_cast<uint32_t>(home));
        for (uint32_t number = 0; number < 25'500; ++number)
            ++frequencies[Fingerprints::get(uint64_t(random.below(0xFFFFFFFF)) << HOME_BITS | home)];
        EXPECT_EQ(0u, frequencies[0]);
        for (size_t fingerprint = 1; fingerprint < frequencies.size(); ++fingerprint) {
            EXPECT_LT(30u, frequencies[fingerprint]) << fingerprint; // 100 are expected, and 200 of the first.
            EXPECT_GT(300u, frequencies[fingerprint]) << fingerprint;
        }
        std::set<uint8_t> ofConsecutiveHashes;
        for (uint64_t number = 0; number < 1024; ++number)
            ofConsecutiveHashes.insert(Fingerprints::get(number << HOME_BITS | home));
        EXPECT_LT(240u, ofConsecutiveHashes.size());
    }
}

TEST_F(FingerprintsTest, candidatesOfRandomGroupsAreTheSameInEveryWay) {
    m_fingerprints.initialize(1024, false);
    for (uint32_t seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE(seed);
        RandomNumbers random(seed);
        const uint32_t end = seed % 2 == 0 ? 256 : 4; // few values: several elements match, also zeros
        Group group;
        for (uint8_t& fingerprint : group)
            fingerprint = static_cast<uint8_t>(random.below(end));
        expectCandidatesAgree(group);
    }
}

TEST_F(FingerprintsTest, anUnknownFingerprintIsACandidateAtEveryPlace) {
    m_fingerprints.initialize(1024, false);
    // Arithmetic on whole words may mistake 0x80 and 0x01 beside a zero for zeros.
    for (const uint8_t other : {uint8_t(0x01), uint8_t(0x7F), uint8_t(0x80), uint8_t(0x81), uint8_t(0xFF)})
        for (uint32_t zeros = 0; zeros < 1 << Fingerprints::GROUP_SIZE; zeros += 251) {
            SCOPED_TRACE(testing::Message() << "zeros " << zeros << ", others " << uint32_t(other));
            Group group;
            for (size_t place = 0; place < group.size(); ++place)
                group[place] = (zeros >> place & 1) != 0 ? uint8_t(0) : other;
            expectCandidatesAgree(group);
        }
    for (size_t place = 0; place < Fingerprints::GROUP_SIZE; ++place) {
        Group group;
        group.fill(0x01);
        group[place] = 0;
        store(m_fingerprints, 0, group);
        EXPECT_EQ(uint32_t(1) << place, m_fingerprints.getCandidates(0, 0x80));
    }
}

TEST_F(FingerprintsTest, candidatesAreThoseOfTheGroupAlone) {
    m_fingerprints.initialize(1024, false);
    Group group;
    group.fill(9);
    store(m_fingerprints, 16, group);
    EXPECT_EQ(0u, m_fingerprints.getCandidates(16, 8));
    EXPECT_EQ(0xFFFFu, m_fingerprints.getCandidates(16, 9));
    EXPECT_EQ(0xFFFFu, m_fingerprints.getCandidates(0, 8)) << "the group before it is unknown";
    EXPECT_EQ(0xFFFFu, m_fingerprints.getCandidates(32, 8)) << "the group after it, too";
}

TEST_F(FingerprintsTest, whatIsSetAndCopiedIsThere) {
    m_fingerprints.initialize(1024, true);
    EXPECT_TRUE(m_fingerprints.exist());
    for (size_t index = 0; index < 1024; ++index)
        ASSERT_EQ(0, m_fingerprints[index]) << "all are unknown at first";
    m_fingerprints.set(0, 1);
    m_fingerprints.set(1, 255);
    m_fingerprints.set(1023, 7);
    m_fingerprints.copy(1, 500);
    EXPECT_EQ(1, m_fingerprints[0]);
    EXPECT_EQ(255, m_fingerprints[1]);
    EXPECT_EQ(0, m_fingerprints[2]);
    EXPECT_EQ(0, m_fingerprints[499]);
    EXPECT_EQ(255, m_fingerprints[500]);
    EXPECT_EQ(0, m_fingerprints[501]);
    EXPECT_EQ(7, m_fingerprints[1023]);
    m_fingerprints.copy(2, 500);
    EXPECT_EQ(0, m_fingerprints[500]) << "an unknown one is copied too";
}

TEST_F(FingerprintsTest, clearForgetsAllAndCompletesThem) {
    m_fingerprints.initialize(2048, false);
    for (size_t index = 0; index < 2048; ++index)
        m_fingerprints.set(index, 3);
    m_fingerprints.clear();
    for (size_t index = 0; index < 2048; ++index)
        ASSERT_EQ(0, m_fingerprints[index]) << index;
    EXPECT_TRUE(m_fingerprints.areComplete()) << "no bucket has an entry";
    EXPECT_EQ(m_fingerprints.getCommittedBytes(), getChargedBytes(m_memoryManager));
}

TEST_F(FingerprintsTest, truncateKeepsTheFirstAndGivesPagesBack) {
    m_fingerprints.initialize(4 * m_pageSize, true);
    for (size_t index = 0; index < 4 * m_pageSize; ++index)
        m_fingerprints.set(index, static_cast<uint8_t>(index % 255 + 1));
    m_fingerprints.truncate(m_pageSize + 64);
    EXPECT_EQ(2 * m_pageSize, m_fingerprints.getCommittedBytes());
    EXPECT_EQ(2 * m_pageSize, getChargedBytes(m_memoryManager));
    EXPECT_TRUE(m_fingerprints.areComplete());
    for (size_t index = 0; index < 2 * m_pageSize; ++index)
        ASSERT_EQ(index < m_pageSize + 64 ? index % 255 + 1 : 0, m_fingerprints[index]) << index;
}

TEST_F(FingerprintsTest, truncateToLessThanAGroupLeavesNone) {
    m_fingerprints.initialize(1024, true);
    m_fingerprints.truncate(Fingerprints::GROUP_SIZE);
    EXPECT_TRUE(m_fingerprints.areComplete());
    m_fingerprints.truncate(Fingerprints::GROUP_SIZE / 2);
    expectNoneAndHarmless(m_fingerprints, m_memoryManager);
}

TEST_F(FingerprintsTest, areAsCompleteAsInitializeStatesUntilTheyAreReleased) {
    EXPECT_FALSE(m_fingerprints.areComplete()) << "there are none";
    m_fingerprints.initialize(1024, true);
    EXPECT_TRUE(m_fingerprints.areComplete());
    m_fingerprints.set(5, 5);
    EXPECT_TRUE(m_fingerprints.areComplete());
    m_fingerprints.deinitialize();
    EXPECT_FALSE(m_fingerprints.areComplete());
    m_fingerprints.initialize(1024, false);
    EXPECT_FALSE(m_fingerprints.areComplete());
    EXPECT_EQ(0, m_fingerprints[5]) << "initialize forgets all";
}

TEST_F(FingerprintsTest, chargeWhatTheyCommitAndGiveItBack) {
    for (const size_t numberOfBuckets : {size_t(1024), m_pageSize, 16 * m_pageSize}) {
        m_fingerprints.initialize(numberOfBuckets, true);
        EXPECT_EQ(std::max(numberOfBuckets, m_pageSize), m_fingerprints.getCommittedBytes());
        EXPECT_EQ(m_fingerprints.getCommittedBytes(), getChargedBytes(m_memoryManager))
            << "what there was before is given back";
    }
    m_fingerprints.deinitialize();
    expectNoneAndHarmless(m_fingerprints, m_memoryManager);
    {
        Fingerprints others(m_memoryManager);
        others.initialize(1024, true);
        EXPECT_EQ(m_pageSize, getChargedBytes(m_memoryManager));
    }
    EXPECT_EQ(0u, getChargedBytes(m_memoryManager)) << "destruction gives all back";
}

TEST_F(FingerprintsTest, thereAreNoneBeforeInitializeNorOfNoBuckets) {
    expectNoneAndHarmless(m_fingerprints, m_memoryManager);
    m_fingerprints.initialize(0, true);
    expectNoneAndHarmless(m_fingerprints, m_memoryManager);
}

TEST_F(FingerprintsTest, aLimitThatLeavesNoRoomLeavesNone) {
    MemoryManager memoryManager(2 * m_pageSize - 1);
    Fingerprints fingerprints(memoryManager);
    fingerprints.initialize(2 * m_pageSize, true);
    expectNoneAndHarmless(fingerprints, memoryManager);
    fingerprints.initialize(m_pageSize, true);
    EXPECT_TRUE(fingerprints.areComplete()) << "so many fit";
    fingerprints.initialize(2 * m_pageSize, true);
    expectNoneAndHarmless(fingerprints, memoryManager);
}

TEST_F(FingerprintsTest, aSystemThatRefusesMemoryLeavesNone) {
    for (const Call call : {Call::MMAP, Call::MPROTECT}) {
        m_fingerprints.initialize(1024, true);
        {
            SystemCallFaults faults(call);
            faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::ONCE);
            m_fingerprints.initialize(2048, true);
            EXPECT_EQ(1u, faults.getNumberOfFailures());
        }
        expectNoneAndHarmless(m_fingerprints, m_memoryManager);
    }
    m_fingerprints.initialize(2048, true);
    EXPECT_TRUE(m_fingerprints.exist());
}

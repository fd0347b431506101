#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/Engine/core/platform/collections/TableStream.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iostream>
#include <string>
#include <vector>

using namespace melnar;

namespace {

using Peer = ParallelHashTableTestPeer;
using Call = SystemCallFaults::Call;

template<class T>
class ParallelHashTableFailureTest : public testing::Test {
protected:
    /// A table of 1024 buckets at the point where the next insertion starts a resize.
    class FullTable : public NumberTable<T> {
    public:
        explicit FullTable(const size_t memoryLimit = NumberTable<T>::AMPLE_MEMORY)
            : NumberTable<T>(1024, &NumberPolicy<T>::identity, memoryLimit) {
            this->insertRange(1, 701);
            this->removeRange(1, 11);
        }

        void expectUntouched(const typename NumberTable<T>::Bucket* const buckets) {
            EXPECT_EQ(buckets, Peer::getBuckets(this->m_table).getData());
            EXPECT_EQ(1024u, this->m_table.getNumberOfBuckets());
            EXPECT_EQ(700u, this->getUsedBuckets());
            EXPECT_EQ(10u, this->m_table.getNumberOfDeletedBuckets());
            EXPECT_EQ(0u, Peer::getSumOfQuotas(this->m_table));
            EXPECT_EQ(1024 * sizeof(T), this->getChargedBytes());
            EXPECT_EQ(0u, Peer::getOldBuckets(this->m_table).getMaximumNumberOfItems());
            EXPECT_TRUE(this->containsRange(11, 701));
            expectSoundAtRest(this->m_table);
        }

        const typename NumberTable<T>::Bucket* getBuckets() { return Peer::getBuckets(this->m_table).getData(); }
    };

    static void load(NumberTable<T>& numbers, const std::string& bytes) {
        MemoryInputStream inputStream(bytes);
        numbers.m_table.load(inputStream);
    }

    static void expectUsableAfterInitialization(NumberTable<T>& numbers) {
        numbers.m_table.initialize(1024);
        EXPECT_EQ(1024 * sizeof(T), numbers.getChargedBytes()) << "nothing leaked";
        numbers.insertRange(1, 701);
        expectSoundAtRest(numbers.m_table);
    }
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableFailureTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableFailureTest, aResizeThatCannotBePaidLeavesTheTableAsItWas) {
    const size_t resizedBytes = 2048 * sizeof(TypeParam);
    size_t failures = 0;
    for (size_t freeBytes = 0;; freeBytes += 1024) {
        SCOPED_TRACE(testing::Message() << freeBytes << " bytes free");
        typename TestFixture::FullTable numbers(1024 * sizeof(TypeParam) + freeBytes);
        const auto* const buckets = numbers.getBuckets();
        const ScopedThreadContextIndex index(failures % 256);
        if (freeBytes >= resizedBytes) {
            EXPECT_TRUE(numbers.insert(2000));
            EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
            expectSoundAtRest(numbers.m_table);
            break;
        }
        const auto exception = catchException<MemoryExhaustedException>([&] { numbers.insert(2000); });
        EXPECT_EQ("Engine/core/platform/system/MemoryManager", exception.getSourceFileName());
        EXPECT_EQ(73, exception.getSourceLineNumber());
        numbers.expectUntouched(buckets);
        EXPECT_FALSE(numbers.contains(2000));
        ++failures;
    }
    EXPECT_EQ(resizedBytes / 1024, failures);
}

TYPED_TEST(ParallelHashTableFailureTest, anInsertionSucceedsOnceMemoryIsFreeAgain) {
    typename TestFixture::FullTable numbers(16384 * sizeof(TypeParam));
    const auto* const buckets = numbers.getBuckets();
    const size_t takenBytes = numbers.m_memoryManager.getFreeBytes();
    numbers.m_memoryManager.allocate(takenBytes);
    for (size_t attempt = 0; attempt < 3; ++attempt)
        EXPECT_THROW(numbers.insert(2000), MemoryExhaustedException);
    numbers.m_memoryManager.deallocate(takenBytes);
    numbers.expectUntouched(buckets);
    EXPECT_TRUE(numbers.insert(2000));
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableFailureTest, anInsertionWithQuotaNeedsNoMemory) {
    NumberTable<TypeParam> numbers(1024, &NumberPolicy<TypeParam>::identity, 1024 * sizeof(TypeParam));
    for (size_t index = 0; index < 7; ++index) {
        const ScopedThreadContextIndex scopedIndex(index);
        numbers.insert(static_cast<TypeParam>(index + 1));
    }
    const ScopedThreadContextIndex index(7);
    EXPECT_THROW(numbers.insert(1000), MemoryExhaustedException);
    EXPECT_THROW(numbers.insert(1), MemoryExhaustedException) << "quota is due before it is known that 1 is there";
    EXPECT_TRUE(numbers.contains(1));
    EXPECT_TRUE(numbers.remove(1));
    const ScopedThreadContextIndex otherIndex(6);
    EXPECT_TRUE(numbers.insert(1000));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableFailureTest, aResizeWhoseArrayCannotBeReservedLeavesTheTableAsItWas) {
    typename TestFixture::FullTable numbers;
    const auto* const buckets = numbers.getBuckets();
    {
        SystemCallFaults faults(Call::MMAP);
        faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::ONCE);
        const auto exception = catchException<SystemCallException>([&] { numbers.insert(2000); });
        EXPECT_EQ("Engine/core/platform/system/MemoryRegion", exception.getSourceFileName());
        EXPECT_EQ(212, exception.getSourceLineNumber());
        EXPECT_EQ(1u, faults.getNumberOfFailures());
    }
    numbers.expectUntouched(buckets);
    EXPECT_TRUE(numbers.insert(2000));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableFailureTest, aResizeWhoseArrayCannotBeCommittedLeavesTheTableAsItWas) {
    typename TestFixture::FullTable numbers;
    const auto* const buckets = numbers.getBuckets();
    {
        SystemCallFaults faults(Call::MPROTECT);
        const SystemCallFaults releases(Call::MUNMAP);
        faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::ONCE);
        const auto exception = catchException<SystemCallException>([&] { numbers.insert(2000); });
        EXPECT_EQ("Engine/core/platform/system/MemoryRegion", exception.getSourceFileName());
        EXPECT_EQ(167, exception.getSourceLineNumber());
        EXPECT_EQ(1u, faults.getNumberOfFailures());
        EXPECT_EQ(1u, releases.getNumberOfCalls()) << "the reservation is given back";
        EXPECT_EQ(2048 * sizeof(TypeParam), releases.getLatestRequest());
    }
    numbers.expectUntouched(buckets);
    EXPECT_TRUE(numbers.insert(2000));
    expectSoundAtRest(numbers.m_table);
}

TYPED_TEST(ParallelHashTableFailureTest, everyCallOfAResizeFails) {
    const std::vector<Fault> faults = ofCalls({Call::MMAP, Call::MPROTECT, Call::MUNMAP, Call::MADVISE}, {ENOMEM});
    for (const bool hasFingerprints : {false, true}) {
        const FailureCounts counts = failEach(faults, [hasFingerprints](FailureRound& round) {
            typename TestFixture::FullTable numbers;
            if (hasFingerprints)
                numbers.m_table.enableFingerprints();
            const size_t chargedBytes = numbers.getAllChargedBytes();
            const auto* const buckets = numbers.getBuckets();
            if (!round.attempt([&numbers] { numbers.insert(2000); })) {
                EXPECT_EQ(chargedBytes, numbers.getAllChargedBytes());
                EXPECT_EQ(buckets, numbers.getBuckets());
                EXPECT_EQ(1024u, numbers.m_table.getNumberOfBuckets());
                expectSoundAtRest(numbers.m_table);
                numbers.insert(2000);
            }
            EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
            EXPECT_EQ(numbers.m_table.getCommittedBytes() + numbers.m_table.getFingerprintBytes(),
                      numbers.getAllChargedBytes());
            EXPECT_TRUE(numbers.containsRange(11, 701));
            EXPECT_TRUE(numbers.contains(2000));
            expectSoundAtRest(numbers.m_table);
        });
        EXPECT_EQ(4u, counts.m_throws) << "reservation and commitment of the buckets, once and for good";
        EXPECT_EQ(hasFingerprints ? 8u : 2u, counts.m_tolerated) << "the old buckets stay mapped, fingerprints missing";
        std::cout << "Resizing, calls: " << counts << '\n';
    }
}

TYPED_TEST(ParallelHashTableFailureTest, anOldArrayThatCannotBeUnmappedIsNoFailure) {
    typename TestFixture::FullTable numbers;
    void* const oldBuckets = Peer::getBuckets(numbers.m_table).getData();
    {
        SystemCallFaults faults(Call::MUNMAP);
        faults.failAfter(0, EINVAL, SystemCallFaults::Duration::ONCE);
        EXPECT_TRUE(numbers.insert(2000));
        EXPECT_EQ(1u, faults.getNumberOfFailures());
    }
    EXPECT_EQ(2048 * sizeof(TypeParam), numbers.getChargedBytes());
    expectSoundAtRest(numbers.m_table);
    VirtualMemory::release(oldBuckets, 1024 * sizeof(TypeParam));
}

TYPED_TEST(ParallelHashTableFailureTest, initializeReportsLackOfAddressSpace) {
    NumberTable<TypeParam> numbers;
    numbers.insert(1);
    const auto exception = catchException<SystemCallException>([&] { numbers.m_table.initialize(size_t(1) << 50); });
    EXPECT_EQ("Engine/core/platform/system/MemoryRegion", exception.getSourceFileName());
    EXPECT_EQ(212, exception.getSourceLineNumber());
    EXPECT_EQ(0u, numbers.getChargedBytes());
    TestFixture::expectUsableAfterInitialization(numbers);
}

TYPED_TEST(ParallelHashTableFailureTest, initializeReportsLackOfMemory) {
    NumberTable<TypeParam> numbers(1024, &NumberPolicy<TypeParam>::identity, 2048 * sizeof(TypeParam));
    EXPECT_THROW(numbers.m_table.initialize(4096), MemoryExhaustedException);
    EXPECT_EQ(0u, numbers.getChargedBytes());
    TestFixture::expectUsableAfterInitialization(numbers);
}

TYPED_TEST(ParallelHashTableFailureTest, initializeReportsPagesThatTheSystemRefuses) {
    NumberTable<TypeParam> numbers(0);
    {
        SystemCallFaults faults(Call::MPROTECT);
        faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::ONCE);
        const auto exception = catchException<SystemCallException>([&] { numbers.m_table.initialize(1024); });
        EXPECT_EQ(167, exception.getSourceLineNumber());
    }
    EXPECT_EQ(0u, numbers.getChargedBytes());
    TestFixture::expectUsableAfterInitialization(numbers);
}

TYPED_TEST(ParallelHashTableFailureTest, loadRejectsAStreamOfAnotherNameAndChangesNothing) {
    for (const std::string name :
         {"ParallelHashTablf", "parallelHashTable", "ParallelHashTabl", "ParallelHashTableX", ""}) {
        SCOPED_TRACE(name);
        typename TestFixture::FullTable numbers;
        const auto* const buckets = numbers.getBuckets();
        TableStream<TypeParam> stream(2048, 1433);
        stream.m_name = name;
        const std::string bytes = stream.getBytes();
        MemoryInputStream inputStream(bytes);
        const auto exception = catchException<MelnarException>([&] { numbers.m_table.load(inputStream); });
        EXPECT_EQ("Invalid input file: cannot load ParallelHashTable.", exception.getMessage());
        EXPECT_EQ("Engine/core/platform/collections/ParallelHashTableImpl", exception.getSourceFileName());
        EXPECT_EQ(476, exception.getSourceLineNumber());
        EXPECT_EQ("MelnarException", exception.getExceptionName());
        EXPECT_TRUE(exception.getCauses().empty());
        EXPECT_EQ(bytes.size() - 8 - (name.size() == 17 ? 17 : 0), inputStream.getNumberOfRemainingBytes())
            << "a wrong length decides by itself";
        numbers.expectUntouched(buckets);
    }
}

TYPED_TEST(ParallelHashTableFailureTest, loadReportsAStreamThatEndsTooEarlyWhereverItEnds) {
    const std::string bytes = TableStream<TypeParam>(1024, 716).getBytes();
    const size_t headSize = 8 + 17 + 4 * 8 + 256 * 4 + 2 * 8;
    NumberTable<TypeParam> numbers(0);
    for (size_t length = 0; length < bytes.size(); length += length < headSize ? 1 : 509) {
        const auto exception =
            catchException<MelnarException>([&] { TestFixture::load(numbers, bytes.substr(0, length)); });
        ASSERT_EQ("Premature end of stream.", exception.getMessage()) << length;
        ASSERT_EQ("Engine/core/platform/stream/InputStream", exception.getSourceFileName());
        ASSERT_EQ(26, exception.getSourceLineNumber());
    }
    TestFixture::expectUsableAfterInitialization(numbers);
}

TYPED_TEST(ParallelHashTableFailureTest, whatLoadReadBeforeAStreamEndsTooEarlyStays) {
    TableStream<TypeParam> stream(2048, 1433);
    stream.m_usedBuckets = 300;
    stream.m_quotas = {{0, 77}, {1, 88}};
    NumberTable<TypeParam> numbers(0);
    EXPECT_THROW(TestFixture::load(numbers, stream.getBytes().substr(0, 57 + 4)), MelnarException);
    EXPECT_EQ(2048u, numbers.m_table.getNumberOfBuckets());
    EXPECT_EQ(300u, numbers.getUsedBuckets());
    EXPECT_EQ(77u, numbers.getQuota(0));
    EXPECT_EQ(0u, numbers.getQuota(1));
    TestFixture::expectUsableAfterInitialization(numbers);
}

TYPED_TEST(ParallelHashTableFailureTest, loadReportsLackOfMemory) {
    NumberTable<TypeParam> numbers(1024, &NumberPolicy<TypeParam>::identity, 2048 * sizeof(TypeParam));
    const std::string bytes = TableStream<TypeParam>(4096, 2867).getBytes();
    EXPECT_THROW(TestFixture::load(numbers, bytes), MemoryExhaustedException);
    EXPECT_EQ(0u, numbers.getChargedBytes());
    TestFixture::expectUsableAfterInitialization(numbers);
}

TYPED_TEST(ParallelHashTableFailureTest, loadReportsAddressSpaceAndPagesThatTheSystemRefuses) {
    const std::string bytes = TableStream<TypeParam>(4096, 2867).getBytes();
    for (const Call call : {Call::MMAP, Call::MPROTECT}) {
        NumberTable<TypeParam> numbers;
        numbers.insert(1);
        {
            SystemCallFaults faults(call);
            faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::ONCE);
            EXPECT_THROW(TestFixture::load(numbers, bytes), SystemCallException);
            EXPECT_EQ(1u, faults.getNumberOfFailures());
        }
        EXPECT_EQ(0u, numbers.getChargedBytes());
        TestFixture::expectUsableAfterInitialization(numbers);
    }
}

TYPED_TEST(ParallelHashTableFailureTest, anInsertionThatFailsAfterItsClaimLeavesNoTrace) {
    using Table = typename NumberTable<TypeParam>::Table;
    NumberTable<TypeParam> numbers(1024, [](TypeParam) { return 1023; });
    numbers.insertRange(1, 4);
    const auto insertAndFail = [&] {
        const typename Table::Operation operation(numbers.m_table);
        numbers.m_table.reserveInsertionQuota(operation.getThreadContext());
        size_t index = numbers.m_table.getHomeIndex(1023);
        while (!Table::tryClaim(numbers.m_table.getBucket(index)))
            index = numbers.m_table.getNextIndex(index);
        try {
            throw 4;
        } catch (...) {
            Table::unclaim(numbers.m_table.getBucket(index));
            throw;
        }
    };
    for (size_t attempt = 0; attempt < 200; ++attempt)
        EXPECT_THROW(insertAndFail(), int);
    EXPECT_EQ(97u, numbers.getQuota()) << "failures cost no quota";
    EXPECT_EQ(100u, numbers.getUsedBuckets());
    expectSoundAtRest(numbers.m_table);
    numbers.insert(4);
    EXPECT_EQ(2u, numbers.getIndexOf(4)) << "in the bucket that they gave up";
    expectSoundAtRest(numbers.m_table);
}

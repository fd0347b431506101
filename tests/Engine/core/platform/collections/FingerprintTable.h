#pragma once

#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/platform/collections/NumberTable.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

/// A table that keeps fingerprints, whether or not the other tables of the test program do.
template<class T>
class FingerprintTable : public NumberTable<T> {
public:
    explicit FingerprintTable(const size_t numberOfBuckets = 1024,
                              typename NumberPolicy<T>::Hash hash = &NumberPolicy<T>::identity,
                              const size_t memoryLimit = NumberTable<T>::AMPLE_MEMORY)
        : NumberTable<T>(0, std::move(hash), memoryLimit) {
        this->m_table.enableFingerprints();
        if (numberOfBuckets != 0)
            this->m_table.initialize(numberOfBuckets);
    }

    const melnar::Fingerprints& getFingerprints() const {
        return ParallelHashTableTestPeer::getFingerprints(this->m_table);
    }

    uint8_t getFingerprintOf(const T number) {
        const auto index = this->getIndexOf(number);
        return index ? getFingerprints()[*index] : 0;
    }

    /// Expects that every number of a range has its own fingerprint.
    void expectOwnFingerprints(const T first, const T afterLast) {
        for (T number = first; number < afterLast; ++number)
            ASSERT_EQ(melnar::Fingerprints::get(this->m_table.getPolicy().getHash(number)), getFingerprintOf(number))
                << number;
    }

    size_t countKnownFingerprints() const {
        size_t count = 0;
        for (size_t index = 0; index < this->m_table.getNumberOfBuckets(); ++index)
            count += getFingerprints()[index] != 0 ? size_t(1) : 0;
        return count;
    }

    /// Expects the invariants of an idle table, and that only buckets and fingerprints are charged.
    void expectSound() {
        EXPECT_EQ(this->m_table.getCommittedBytes() + this->m_table.getFingerprintBytes(), this->getAllChargedBytes());
        expectSoundAtRest(this->m_table);
    }

    std::string save() const {
        melnar::MemoryOutputStream outputStream;
        this->m_table.save(outputStream);
        return outputStream.getBytes();
    }

    void load(const std::string& bytes) {
        melnar::MemoryInputStream inputStream(bytes);
        this->m_table.load(inputStream);
    }
};

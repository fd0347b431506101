#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <utility>

/// The bucket values of tables of plain numbers. The markers of the two widths differ, as they may in real policies.
template<class T>
struct NumberBuckets {
    using BucketValue = T;
    using Bucket = std::atomic<T>;

    static constexpr T EMPTY_BUCKET = 0;
    static constexpr T BUCKET_DELETED = sizeof(T) == 8 ? std::numeric_limits<T>::max() >> 1
                                                       : std::numeric_limits<T>::max();
    static constexpr T BUCKET_IN_PROGRESS = BUCKET_DELETED - 1;
};

/// A policy whose numbers represent themselves, with a hash function that the test chooses. The function is called for
/// every number that is rehashed, so a test can also observe or delay a rehash there.
template<class T>
class NumberPolicy : public NumberBuckets<T> {
public:
    using Hash = std::function<uint64_t(T)>;

    static uint64_t identity(const T number) { return number; }

    explicit NumberPolicy(Hash hash) : m_hash(std::move(hash)) {}

    uint64_t getHash(const T number) const { return m_hash(number); }

private:
    Hash m_hash;
};

/// The two widths of buckets, for typed tests, and their names.
using BucketWidths = testing::Types<uint32_t, uint64_t>;

struct BucketWidthNames {
    template<class T>
    static std::string GetName(int) { // NOLINT(readability-identifier-naming): GoogleTest finds it by this name
        return "buckets" + std::to_string(8 * sizeof(T));
    }
};

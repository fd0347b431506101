#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/system/Atomic.h"

#include <concepts>
#include <cstdint>
#include <limits>

/// The bucket values of a datatype's hash table. A bucket holds a resource ID or one of three markers.
///
/// The markers of the two widths differ on purpose: 64-bit IDs leave their top bit to the store, so those markers are
/// just below 2^63, while 32-bit buckets can spare only their two largest values. A 32-bit bucket is widened with zeros
/// when it is read; it must never hold an ID of 0xFFFFFFFE or more.
template<std::unsigned_integral T>
class MELNAR_EXPORT DatatypePolicy {
public:
    using BucketValue = T;
    using Bucket = melnar::Atomic<T>;

    static constexpr T EMPTY_BUCKET = 0;
    static constexpr T BUCKET_DELETED = sizeof(T) == 8 ? std::numeric_limits<T>::max() >> 1
                                                       : std::numeric_limits<T>::max();
    static constexpr T BUCKET_IN_PROGRESS = BUCKET_DELETED - 1;

    static_assert(sizeof(T) == 4 || sizeof(T) == 8);
    static_assert(Bucket::is_always_lock_free && sizeof(Bucket) == sizeof(T), "buckets are saved as raw numbers");
};

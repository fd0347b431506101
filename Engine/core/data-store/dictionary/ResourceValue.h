#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/platform/Export.h"

#include <cstddef>
#include <cstdint>

/// The value of one resource: its datatype and its lexical bytes. The fields are public: users fill them in place.
///
/// Units      m_dataSize counts the terminating zero byte: for a lexical form of length L it is L + 1.
/// Ownership  Owns m_heapBuffer only. m_data and m_auxiliaryData each point into the value's own storage
///            (m_inlineBuffer or m_heapBuffer), or to bytes of another owner, such as a data pool, which must outlive
///            their use.
/// Threads    One thread at a time.
/// Errors     Copying and allocateBuffer throw std::bad_alloc.
class MELNAR_EXPORT ResourceValue {
public:
    /// Data up to this size, including the terminator, fits into the value itself.
    static constexpr size_t INLINE_BUFFER_SIZE = 128;

    ResourceValue() noexcept;

    /// Copies the data, also data that the other value only points to, and auxiliary data in the other's storage.
    /// Auxiliary data of another owner is shared.
    ResourceValue(const ResourceValue& other);

    /// Takes over the other's storage; both pointers point to the same bytes as before. Data of another owner is
    /// shared. The other value is left without data.
    ResourceValue(ResourceValue&& other) noexcept;

    ResourceValue& operator=(const ResourceValue&) = delete;
    ResourceValue& operator=(ResourceValue&&) = delete;
    ~ResourceValue();

    /// Makes m_heapBuffer a block of at least `size` bytes from the system allocator. The contents of the old block are
    /// lost, unless the allocation throws. m_data is not changed.
    void allocateBuffer(size_t size);

    /// Points m_data to the value's own storage for `size` bytes and sets m_dataSize; returns the storage. There is no
    /// auxiliary data afterwards.
    uint8_t* useOwnStorage(size_t size);

    uint8_t m_datatypeID;                       ///< of the resource
    const uint8_t* m_data;                      ///< the lexical bytes, with a zero byte after them
    size_t m_dataSize;                          ///< of m_data, the zero byte included
    const uint8_t* m_auxiliaryData;             ///< a second byte range, for datatypes that need one
    size_t m_auxiliaryDataSize;                 ///< of m_auxiliaryData
    uint8_t m_inlineBuffer[INLINE_BUFFER_SIZE]; ///< for data of the value's own that fits
    uint8_t* m_heapBuffer;                      ///< for data of the value's own that does not; or null
    size_t m_heapBufferSize;                    ///< of m_heapBuffer
};

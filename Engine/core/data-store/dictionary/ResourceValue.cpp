#include "Engine/core/data-store/dictionary/ResourceValue.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

namespace {

/// Returns whether data may be in a range. The end of the range counts, since an empty part may be there.
bool isInRange(const uint8_t* const data, const uint8_t* const begin, const size_t size) noexcept {
    return data != nullptr && std::less_equal<>()(begin, data) && std::less_equal<>()(data, begin + size);
}

bool isInOwnStorage(const ResourceValue& value, const uint8_t* const data) noexcept {
    return isInRange(data, value.m_inlineBuffer, ResourceValue::INLINE_BUFFER_SIZE) ||
           (value.m_heapBuffer != nullptr && isInRange(data, value.m_heapBuffer, value.m_heapBufferSize));
}

} // namespace

ResourceValue::ResourceValue() noexcept
    : m_datatypeID(D_INVALID), m_data(nullptr), m_dataSize(0), m_auxiliaryData(nullptr),
      m_auxiliaryDataSize(0), m_inlineBuffer{}, m_heapBuffer(nullptr), m_heapBufferSize(0) {}

ResourceValue::ResourceValue(const ResourceValue& other) : ResourceValue() {
    const size_t dataSize = other.m_data == nullptr ? 0 : other.m_dataSize;
    // Auxiliary data in the other value's storage may be destroyed before the copy. In the copy it follows the data.
    const bool isAuxiliaryDataCopied = isInOwnStorage(other, other.m_auxiliaryData);
    const size_t copiedAuxiliaryDataSize = isAuxiliaryDataCopied ? other.m_auxiliaryDataSize : 0;
    uint8_t* const storage = useOwnStorage(dataSize + copiedAuxiliaryDataSize);
    std::copy_n(other.m_data, dataSize, storage);
    std::copy_n(other.m_auxiliaryData, copiedAuxiliaryDataSize, storage + dataSize);
    m_datatypeID = other.m_datatypeID;
    m_data = other.m_data == nullptr ? nullptr : storage;
    m_dataSize = dataSize;
    m_auxiliaryData = isAuxiliaryDataCopied ? storage + dataSize : other.m_auxiliaryData;
    m_auxiliaryDataSize = other.m_auxiliaryDataSize;
}

ResourceValue::ResourceValue(ResourceValue&& other) noexcept
    : m_datatypeID(other.m_datatypeID), m_data(std::exchange(other.m_data, nullptr)),
      m_dataSize(std::exchange(other.m_dataSize, 0)), m_auxiliaryData(std::exchange(other.m_auxiliaryData, nullptr)),
      m_auxiliaryDataSize(std::exchange(other.m_auxiliaryDataSize, 0)),
      m_heapBuffer(std::exchange(other.m_heapBuffer, nullptr)),
      m_heapBufferSize(std::exchange(other.m_heapBufferSize, 0)) {
    std::memcpy(m_inlineBuffer, other.m_inlineBuffer, INLINE_BUFFER_SIZE);
    const auto followInlineBuffer = [this, &other](const uint8_t*& data) {
        if (isInRange(data, other.m_inlineBuffer, INLINE_BUFFER_SIZE))
            data = m_inlineBuffer + (data - other.m_inlineBuffer);
    };
    followInlineBuffer(m_data);
    followInlineBuffer(m_auxiliaryData);
}

ResourceValue::~ResourceValue() {
    if (m_heapBuffer != nullptr)
        std::free(m_heapBuffer);
}

void ResourceValue::allocateBuffer(const size_t size) {
    void* const heapBuffer = std::malloc(size);
    if (heapBuffer == nullptr)
        throw std::bad_alloc();
    std::free(m_heapBuffer);
    m_heapBuffer = static_cast<uint8_t*>(heapBuffer);
    m_heapBufferSize = size;
}

uint8_t* ResourceValue::useOwnStorage(const size_t size) {
    uint8_t* storage = m_inlineBuffer;
    if (size > INLINE_BUFFER_SIZE) {
        if (m_heapBufferSize < size)
            allocateBuffer(size);
        storage = m_heapBuffer;
    }
    m_data = storage;
    m_dataSize = size;
    m_auxiliaryData = nullptr;
    m_auxiliaryDataSize = 0;
    return storage;
}

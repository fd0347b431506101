#include "Engine/core/data-store/dictionary/ResourceValue.h"

#include <cstdlib>
#include <cstring>
#include <new>

ResourceValue::ResourceValue() noexcept
    : m_datatypeID(D_INVALID), m_data(nullptr), m_dataSize(0), m_auxiliaryData(nullptr),
      m_auxiliaryDataSize(0), m_inlineBuffer{}, m_heapBuffer(nullptr), m_heapBufferSize(0) {}

ResourceValue::ResourceValue(const ResourceValue& other) : ResourceValue() {
    if (other.m_data != nullptr)
        std::memcpy(useOwnStorage(other.m_dataSize), other.m_data, other.m_dataSize);
    m_datatypeID = other.m_datatypeID;
    m_auxiliaryData = other.m_auxiliaryData;
    m_auxiliaryDataSize = other.m_auxiliaryDataSize;
}

ResourceValue::ResourceValue(ResourceValue&& other) noexcept : ResourceValue() {
    m_datatypeID = other.m_datatypeID;
    m_data = other.m_data;
    m_dataSize = other.m_dataSize;
    m_auxiliaryData = other.m_auxiliaryData;
    m_auxiliaryDataSize = other.m_auxiliaryDataSize;
    if (other.m_data == other.m_inlineBuffer) {
        std::memcpy(m_inlineBuffer, other.m_inlineBuffer, other.m_dataSize);
        m_data = m_inlineBuffer;
    }
    m_heapBuffer = other.m_heapBuffer;
    m_heapBufferSize = other.m_heapBufferSize;
    other.m_data = nullptr;
    other.m_dataSize = 0;
    other.m_heapBuffer = nullptr;
    other.m_heapBufferSize = 0;
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

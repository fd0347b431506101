#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/stream/InputStream.h"

#include <cstring>

namespace melnar {

/// Reads bytes in memory, which belong to the caller and must outlive the stream.
class MELNAR_EXPORT MemoryInputStream final : public InputStream {
public:
    /// Reads from the first of the bytes on.
    explicit MemoryInputStream(const std::string_view bytes) : m_remaining(bytes) {}

    const std::string& getName() const override { return m_name; }

    size_t read(void* const data, const size_t numberOfBytes) override {
        const size_t delivered = std::min(numberOfBytes, m_remaining.size());
        if (delivered != 0)
            std::memcpy(data, m_remaining.data(), delivered);
        m_remaining.remove_prefix(delivered);
        return delivered;
    }

    /// Returns how many bytes have not been read yet.
    size_t getNumberOfRemainingBytes() const noexcept { return m_remaining.size(); }

private:
    const std::string m_name = "memory";
    std::string_view m_remaining;
};

} // namespace melnar

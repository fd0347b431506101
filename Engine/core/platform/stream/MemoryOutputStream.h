#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <string>

namespace melnar {

/// Collects bytes in memory.
class MELNAR_EXPORT MemoryOutputStream final : public OutputStream {
public:
    const std::string& getName() const override { return m_name; }

    void write(const void* const data, const size_t numberOfBytes) override {
        m_bytes.append(static_cast<const char*>(data), numberOfBytes);
    }

    void flush() override {}

    /// Returns all bytes that were written.
    const std::string& getBytes() const noexcept { return m_bytes; }

private:
    const std::string m_name = "memory";
    std::string m_bytes;
};

} // namespace melnar

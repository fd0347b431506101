#pragma once

#include "Engine/core/platform/stream/OutputStream.h"

#include <cstddef>
#include <string>
#include <vector>

/// Records the bytes of each write separately.
class RecordingOutputStream final : public OutputStream {
public:
    const std::string& getName() const override { return m_name; }

    void write(const void* const data, const size_t numberOfBytes) override {
        m_writes.emplace_back(static_cast<const char*>(data), numberOfBytes);
    }

    void flush() override {}

    const std::vector<std::string>& getWrites() const { return m_writes; }

    std::string getBytes() const {
        std::string bytes;
        for (const std::string& write : m_writes)
            bytes += write;
        return bytes;
    }

private:
    const std::string m_name = "recording";
    std::vector<std::string> m_writes;
};

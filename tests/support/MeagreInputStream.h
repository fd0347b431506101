#pragma once

#include "Engine/core/platform/stream/MemoryInputStream.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Delivers at most a given number of bytes at a time, and records the requests.
class MeagreInputStream final : public InputStream {
public:
    MeagreInputStream(const std::string_view bytes, const size_t maximumBytes)
        : m_input(bytes), m_maximumBytes(maximumBytes) {}

    const std::string& getName() const override { return m_input.getName(); }

    size_t read(void* const data, const size_t numberOfBytes) override {
        m_requests.push_back(numberOfBytes);
        return m_input.read(data, std::min(numberOfBytes, m_maximumBytes));
    }

    std::vector<size_t> m_requests;

private:
    melnar::MemoryInputStream m_input;
    const size_t m_maximumBytes;
};

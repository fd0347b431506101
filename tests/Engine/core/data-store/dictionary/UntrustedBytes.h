#pragma once

#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/UntrustedInputStream.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

/// The finding that was reported to the stream.
struct ReportedDamage : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Bytes in memory. Throws ReportedDamage if damage is reported, or if they end.
class UntrustedBytes final : public UntrustedInputStream {
public:
    explicit UntrustedBytes(const std::string_view bytes) : m_input(bytes) {}

    const std::string& getName() const override { return m_input.getName(); }

    size_t read(void* const data, const size_t numberOfBytes) override {
        const size_t delivered = m_input.read(data, numberOfBytes);
        if (delivered == 0)
            reportDamage("the end");
        return delivered;
    }

    [[noreturn]] void reportDamage(const std::string& finding) const override { throw ReportedDamage(finding); }

    size_t getNumberOfRemainingBytes() const { return m_input.getNumberOfRemainingBytes(); }

private:
    melnar::MemoryInputStream m_input;
};

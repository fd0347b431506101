#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace melnar {

/// 64-bit XXH3 over bytes that are added piece by piece.
class Checksum : private Unmovable {
public:
    Checksum();
    ~Checksum();

    /// Restarts with no bytes.
    void reset() noexcept;
    void update(const void* data, size_t numberOfBytes) noexcept;
    uint64_t getValue() const noexcept;

private:
    struct State;

    const std::unique_ptr<State> m_state;
};

} // namespace melnar

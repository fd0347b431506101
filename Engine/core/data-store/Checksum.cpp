#include "Engine/core/data-store/Checksum.h"

// Compiled into this file, so users of the library need not link libxxhash.
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace melnar {

struct Checksum::State {
    XXH3_state_t m_state;
};

Checksum::Checksum() : m_state(std::make_unique<State>()) {
    reset();
}

Checksum::~Checksum() = default;

void Checksum::reset() noexcept {
    XXH3_64bits_reset(&m_state->m_state);
}

void Checksum::update(const void* const data, const size_t numberOfBytes) noexcept {
    XXH3_64bits_update(&m_state->m_state, data, numberOfBytes);
}

uint64_t Checksum::getValue() const noexcept {
    return XXH3_64bits_digest(&m_state->m_state);
}

} // namespace melnar

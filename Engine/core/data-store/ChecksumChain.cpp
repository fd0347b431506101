#include "Engine/core/data-store/ChecksumChain.h"

// Compiled into this file, so users of the library need not link libxxhash.
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace melnar {

void ChecksumChain::add(const uint64_t number) noexcept {
    const std::array<uint64_t, 3> link{m_value[0], m_value[1], number};
    const XXH128_hash_t hash = XXH3_128bits(link.data(), sizeof(link));
    m_value = {hash.low64, hash.high64};
}

} // namespace melnar

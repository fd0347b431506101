#include "Engine/core/data-store/sharded/ShardLayout.h"

// Compiled into this file, so that users of the library need not link libxxhash.
#define XXH_INLINE_ALL
#include <xxhash.h>

uint32_t ShardLayout::getShard(const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
    return static_cast<uint32_t>(XXH3_64bits_withSeed(lexicalForm.data(), lexicalForm.size(), datatypeID) %
                                 NUMBER_OF_SHARDS);
}

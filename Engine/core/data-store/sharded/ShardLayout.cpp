#include "Engine/core/data-store/sharded/ShardLayout.h"

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

// Compiled into this file, so users of the library need not link libxxhash.
#define XXH_INLINE_ALL
#include <xxhash.h>

uint64_t ShardLayout::getHash(std::string_view lexicalForm, uint8_t datatypeID) noexcept {
    if (lexicalForm.size() >= AdaptiveResourceSizeEncoding::MAXIMUM_SIZE)
        return 0;
    if (datatypeID == D_RDF_PLAIN_LITERAL && lexicalForm.ends_with('@')) {
        lexicalForm.remove_suffix(1);
        datatypeID = D_XSD_STRING;
    }
    return XXH3_64bits_withSeed(lexicalForm.data(), lexicalForm.size(), datatypeID);
}

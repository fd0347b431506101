#pragma once

#include "Engine/core/platform/Export.h"

#include <cstdint>
#include <string_view>

/// Where the terms of a sharded dictionary are: which shard has a term, and how the IDs of its resources there, the local
/// IDs, are numbers of the whole, the global IDs. The terms alone decide it, so any number of processes can build the
/// shards, each its own.
///
/// Global IDs of shard s are s + 1, s + 1 + 256, s + 1 + 512, ...: as shards get about the same number of terms, global
/// IDs are nearly as dense as local ones. 0 means no resource in both.
///
/// Threads  Constant: any threads at any time.
struct MELNAR_EXPORT ShardLayout {
    static constexpr uint32_t NUMBER_OF_SHARDS = 256;

    /// Where a local or global ID means no resource.
    static constexpr uint64_t NO_RESOURCE = 0;

    /// The shard of a term: the lowest 8 bits of XXH3 with 64 bits over the lexical form, with the datatype ID as the seed.
    /// The tables hash otherwise, so the buckets of a shard are all used alike. An rdf:PlainLiteral with an empty tag is
    /// where the xsd:string is that it stands for. A form that is longer than any resource's, which every shard refuses,
    /// is not read.
    static uint32_t getShard(const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
        return getShardOfHash(getHash(lexicalForm, datatypeID));
    }

    /// That hash, whose other bits are free for other uses, and the shard that it tells.
    static uint64_t getHash(std::string_view lexicalForm, uint8_t datatypeID) noexcept;
    static constexpr uint32_t getShardOfHash(const uint64_t hash) noexcept {
        return static_cast<uint32_t>(hash % NUMBER_OF_SHARDS);
    }

    /// The shard of a global ID that is not 0.
    static constexpr uint32_t getShard(const uint64_t globalID) noexcept {
        return static_cast<uint32_t>((globalID - 1) % NUMBER_OF_SHARDS);
    }

    /// The local ID that a global ID is in its shard.
    static constexpr uint64_t toLocal(const uint64_t globalID) noexcept {
        return globalID == NO_RESOURCE ? NO_RESOURCE : (globalID - 1) / NUMBER_OF_SHARDS + 1;
    }

    static constexpr uint64_t toGlobal(const uint64_t localID, const uint32_t shard) noexcept {
        return localID == NO_RESOURCE ? NO_RESOURCE : (localID - 1) * NUMBER_OF_SHARDS + shard + 1;
    }
};

#pragma once

#include "Engine/core/platform/Export.h"

#include <cstdint>
#include <string_view>

/// Which shard of a sharded dictionary has a term, and how the IDs of its resources there, the local IDs, map to IDs of
/// the whole dictionary, the global IDs. Only the term decides this, so any number of processes can build the shards,
/// each its own ones.
///
/// The global IDs of shard s are s + 1, s + 1 + 256, s + 1 + 512, ... Shards get about the same number of terms, so
/// global IDs are nearly as dense as local ones. 0 means no resource in both.
///
/// Threads  Constant: any threads at any time.
struct MELNAR_EXPORT ShardLayout {
    /// How many shards there are, with terms or without.
    static constexpr uint32_t NUMBER_OF_SHARDS = 256;

    /// The local or global ID that means no resource.
    static constexpr uint64_t NO_RESOURCE = 0;

    /// Returns the shard of a term: the lowest 8 bits of 64-bit XXH3 over the lexical form, with the datatype ID as the
    /// seed. The hash tables use another hash, so all buckets of a shard are used equally. An rdf:PlainLiteral with an
    /// empty tag is in the shard of the xsd:string that it means. A form that is too long for any resource is not read;
    /// every shard refuses it.
    static uint32_t getShard(const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
        return getShardOfHash(getHash(lexicalForm, datatypeID));
    }

    /// Returns that hash, whose other bits are free for other uses.
    static uint64_t getHash(std::string_view lexicalForm, uint8_t datatypeID) noexcept;

    /// Returns the shard in such a hash.
    static constexpr uint32_t getShardOfHash(const uint64_t hash) noexcept {
        return static_cast<uint32_t>(hash % NUMBER_OF_SHARDS);
    }

    /// Returns the shard of a global ID that is not 0.
    static constexpr uint32_t getShard(const uint64_t globalID) noexcept {
        return static_cast<uint32_t>((globalID - 1) % NUMBER_OF_SHARDS);
    }

    /// Returns the local ID of a global ID in its shard.
    static constexpr uint64_t toLocal(const uint64_t globalID) noexcept {
        return globalID == NO_RESOURCE ? NO_RESOURCE : (globalID - 1) / NUMBER_OF_SHARDS + 1;
    }

    /// The global ID that a local ID of a shard is.
    static constexpr uint64_t toGlobal(const uint64_t localID, const uint32_t shard) noexcept {
        return localID == NO_RESOURCE ? NO_RESOURCE : (localID - 1) * NUMBER_OF_SHARDS + shard + 1;
    }
};

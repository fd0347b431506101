#pragma once

#include "benchmarks/peers/Peer.h"

#include <cstdint>
#include <memory>

/// How the dictionary is used.
enum class DictionaryUse {
    BATCHES,
    ONE_BY_ONE,
};

/// The dictionary; buckets are 4 bytes wide up to Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS resources.
std::unique_ptr<Peer> makeDictionaryPeer(DictionaryUse use, uint64_t maximumNumberOfResources);

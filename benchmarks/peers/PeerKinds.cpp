#include "Engine/core/data-store/Dictionary.h"
#include "benchmarks/peers/AbslMap.h"
#include "benchmarks/peers/BoostMap.h"
#include "benchmarks/peers/CuckooMap.h"
#include "benchmarks/peers/DictionaryPeer.h"
#include "benchmarks/peers/MapPeer.h"
#include "benchmarks/peers/Peer.h"
#include "benchmarks/peers/RobinMap.h"
#include "benchmarks/peers/ShardedMap.h"
#include "benchmarks/peers/StdMap.h"
#include "benchmarks/peers/TbbMap.h"

namespace {

// Address space; memory is used only for strings that exist.
constexpr size_t MEMORY_LIMIT = size_t(1) << 36;

constexpr uint64_t WIDE = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS + 1;
constexpr uint64_t NARROW = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS;

/// Buckets are 4 bytes wide for up to NARROW resources.
PeerKind dictionary(const char* const name, const DictionaryUse use, const uint64_t maximumNumberOfResources,
                    const bool keepsFingerprints = true) {
    const auto makeDictionary = [=] {
        return std::make_unique<Dictionary>(DictionaryOptions{.m_memoryLimit = MEMORY_LIMIT,
                                                              .m_maximumNumberOfResources = maximumNumberOfResources,
                                                              .m_keepFingerprints = keepsFingerprints});
    };
    return {name, true, use == DictionaryUse::BATCHES, [=] { return makeDictionaryPeer(use, makeDictionary); }};
}

template<class Map>
PeerKind map(const char* const name, const bool isConcurrent) {
    return {name, isConcurrent, false, [] { return std::make_unique<MapPeer<Map>>(); }};
}

} // namespace

const std::vector<PeerKind>& getPeerKinds() {
    static const std::vector<PeerKind> s_kinds{
        dictionary("melnar-batch-64", DictionaryUse::BATCHES, WIDE),
        dictionary("melnar-batch-32", DictionaryUse::BATCHES, NARROW),
        dictionary("melnar-single-64", DictionaryUse::ONE_BY_ONE, WIDE),
        dictionary("melnar-single-32", DictionaryUse::ONE_BY_ONE, NARROW),
        dictionary("melnar-batch-64-no-fingerprints", DictionaryUse::BATCHES, WIDE, false),
        dictionary("melnar-single-64-no-fingerprints", DictionaryUse::ONE_BY_ONE, WIDE, false),
        map<ShardedMap<AbslMap>>("absl-256", true),
        map<TbbMap>("tbb", true),
        map<CuckooMap>("libcuckoo", true),
        map<ShardedMap<StdMap>>("std-256", true),
        map<RobinMap>("tsl-robin", false),
        map<BoostMap>("boost-flat", false),
    };
    return s_kinds;
}

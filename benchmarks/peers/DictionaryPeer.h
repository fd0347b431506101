#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "benchmarks/peers/Peer.h"

#include <functional>
#include <memory>

/// How the dictionary is used.
enum class DictionaryUse {
    BATCHES,
    ONE_BY_ONE,
};

/// Makes a peer of the dictionary that `makeDictionary` makes.
std::unique_ptr<Peer> makeDictionaryPeer(DictionaryUse use,
                                         const std::function<std::unique_ptr<Dictionary>()>& makeDictionary);

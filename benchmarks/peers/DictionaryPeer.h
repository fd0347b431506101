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

/// Puts a dictionary, which `makeDictionary` makes, under measurement.
std::unique_ptr<Peer> makeDictionaryPeer(DictionaryUse use,
                                         const std::function<std::unique_ptr<Dictionary>()>& makeDictionary);

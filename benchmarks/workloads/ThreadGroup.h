#pragma once

#include "benchmarks/peers/Peer.h"

#include <cstddef>
#include <functional>

/// The part of a number of items that one of several threads deals with.
struct Share {
    size_t m_begin;
    size_t m_end;
};

/// Lets threads, each with a PeerThread of its own, do their share of `numberOfItems` items, and returns the seconds
/// from the first start to the end of the last. What a share throws is thrown on once all have ended.
double runShares(Peer& peer, size_t numberOfThreads, size_t numberOfItems,
                 const std::function<void(PeerThread&, Share)>& runShare);

#pragma once

#include "benchmarks/peers/Peer.h"

#include <cstddef>
#include <functional>

/// The items that one of several threads processes.
struct Share {
    size_t m_begin;
    size_t m_end;
};

/// Processes `numberOfItems` items with several threads, each with its own PeerThread and share. Returns the seconds
/// from the first start to the last end. Rethrows an exception of a share after all have ended.
double runShares(Peer& peer, size_t numberOfThreads, size_t numberOfItems,
                 const std::function<void(PeerThread&, Share)>& runShare);

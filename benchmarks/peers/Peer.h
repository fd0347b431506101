#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The operations of one thread on a measured map. The spans of a call have the same length. A caller passes groups of
/// at most NUMBER_OF_TEXTS_IN_GROUP; a map that gains nothing from groups processes the strings one by one.
///
/// Threads  Made, used and destroyed by one thread.
class PeerThread : private Unmovable {
public:
    virtual ~PeerThread() = default;

    /// Finds the ID of each string; strings that are not in the map get the next IDs and are copied into it.
    virtual void resolve(std::span<const std::string_view> texts, std::span<uint64_t> ids) = 0;

    /// Finds the ID of each string, 0 for absent ones.
    virtual void lookUp(std::span<const std::string_view> texts, std::span<uint64_t> ids) = 0;

    /// Finds the string of each ID; all IDs exist.
    virtual void get(std::span<const uint64_t> ids, std::span<std::string_view> texts) = 0;
};

inline constexpr size_t NUMBER_OF_TEXTS_IN_GROUP = 1024;

/// A measured map: strings to IDs that count from 1, and back.
///
/// Ownership  Its memory comes from the page pool. PeerThreads must be destroyed before it.
class Peer : private Unmovable {
public:
    virtual ~Peer() = default;

    virtual std::unique_ptr<PeerThread> makeThread() = 0;

    /// Makes everything that was resolved before visible to lookups. While no thread resolves.
    virtual void commit() {}

    /// Returns its memory, according to the map.
    virtual size_t getBytesInUse() const = 0;
};

/// One kind of map and how to make an empty one.
struct PeerKind {
    std::string m_name;
    bool m_isConcurrent; // whether more than one thread may use it
    bool m_takesBatches; // whether a group of strings is one operation
    std::function<std::unique_ptr<Peer>()> m_make;
};

/// Returns all kinds, those of the dictionary first.
const std::vector<PeerKind>& getPeerKinds();

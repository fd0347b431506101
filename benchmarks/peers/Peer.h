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

/// What one thread does with a map under measurement. The spans of a call are equally long; a caller hands over what it
/// has in groups of NUMBER_OF_TEXTS_IN_GROUP, and a map that gains nothing from groups takes the strings in turn.
///
/// Threads  Made, used and destroyed by one thread.
class PeerThread : private Unmovable {
public:
    virtual ~PeerThread() = default;

    /// The ID of each string; strings that are not in the map get the next IDs and are copied into it.
    virtual void resolve(std::span<const std::string_view> texts, std::span<uint64_t> ids) = 0;

    /// The ID of each string, 0 where there is none.
    virtual void lookUp(std::span<const std::string_view> texts, std::span<uint64_t> ids) = 0;

    /// The string of each ID; all IDs exist.
    virtual void get(std::span<const uint64_t> ids, std::span<std::string_view> texts) = 0;
};

inline constexpr size_t NUMBER_OF_TEXTS_IN_GROUP = 1024;

/// A map under measurement: strings to IDs that count from 1, and back.
///
/// Ownership  Its memory comes from the page pool. PeerThreads are destroyed before it is.
class Peer : private Unmovable {
public:
    virtual ~Peer() = default;

    virtual std::unique_ptr<PeerThread> makeThread() = 0;

    /// Lets lookups find all that was resolved before. While no thread resolves.
    virtual void commit() {}

    /// By its own account.
    virtual size_t getBytesInUse() const = 0;
};

/// One kind of map and how to make an empty one.
struct PeerKind {
    std::string m_name;
    bool m_isConcurrent; // whether more than one thread may use it
    bool m_takesBatches; // whether a group of strings is one operation
    std::function<std::unique_ptr<Peer>()> m_make;
};

/// All kinds, the dictionary's first.
const std::vector<PeerKind>& getPeerKinds();

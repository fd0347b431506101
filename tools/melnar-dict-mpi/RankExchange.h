#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

class Ranks;

/// Sends a part of bytes from each rank to each other, while the ranks do other work:
///
///     for each destination, in ascending order: exchange.startPart(); exchange.append(bytes, numberOfBytes); ...
///     exchange.start();
///     ...
///     exchange.finish();
///     exchange.getPart(source)
///
/// Parts begin at multiples of 8 bytes in memory.
///
/// Ownership  Owns the bytes that it sends and receives, and keeps their memory until it is destroyed, unless it is
///            large.
/// Threads    As Ranks. `start` and `finish` are joint operations.
/// Errors     As Ranks.
class RankExchange : private Unmovable {
public:
    explicit RankExchange(const Ranks& ranks);
    ~RankExchange();

    /// Starts the part for the first rank, or for the next one.
    void startPart();

    void append(const void* data, size_t numberOfBytes);

    template<class Value>
    void appendValue(const Value& value) {
        append(&value, sizeof(value));
    }

    /// Clears the appended bytes, so that nothing is sent; also if not all parts have been started.
    void clear() noexcept;

    /// Sends the appended bytes. Parts that were not started are empty.
    void start();

    /// Waits until all parts from all ranks have arrived.
    void finish();

    /// Returns the part that a rank has sent to this one, until the next start.
    std::span<const char> getPart(uint32_t source) const noexcept;

    uint64_t getNumberOfBytesSent() const noexcept { return m_numberOfBytesSent; }

private:
    struct Transfer; // MPI's data of it

    void endPart();

    const Ranks& m_ranks;
    std::vector<char> m_sent;
    std::vector<char> m_received;
    std::vector<uint64_t> m_sentSizes; // of the parts that have been started, in bytes
    std::vector<uint64_t> m_receivedSizes;
    std::vector<size_t> m_receivedBegins;
    size_t m_beginOfPart = 0;
    uint64_t m_numberOfBytesSent = 0; // to other ranks, since the start
    std::unique_ptr<Transfer> m_transfer;
};

#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "benchmarks/peers/Peer.h"
#include "benchmarks/workloads/WorkloadData.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

/// A map has given a wrong answer.
class WrongAnswer : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Runs the workloads on a map of one kind. Each returns its seconds and checks every answer, outside of the measured
/// time.
///
/// Threads  Alone: starts the given number of threads.
/// Errors   WrongAnswer, and what the map throws.
class WorkloadRun : private Unmovable {
public:
    WorkloadRun(const WorkloadData& data, const PeerKind& kind, size_t numberOfThreads);
    ~WorkloadRun();

    /// Resolves all strings with an empty map. The map stays for the workloads below.
    double build();

    /// Resolves all strings again in another order.
    double resolveAgain();

    /// Looks up the same number of absent strings.
    double lookUpAbsent();

    /// Reads all strings by their IDs, in random order, and touches their bytes.
    double get();

    /// Resolves twice as many strings, most of them more than once, with an empty map, which replaces the other one.
    double buildFromDrawn();

private:
    void startAgain();
    double resolve(const TextList& texts, std::vector<uint64_t>& ids);
    void checkIDs(const TextList& texts, const std::vector<uint64_t>& ids, size_t numberOfDistinctTexts);

    const WorkloadData& m_data;
    const PeerKind& m_kind;
    const size_t m_numberOfThreads;
    std::unique_ptr<Peer> m_peer;
    std::vector<uint64_t> m_ids;     // of m_data.m_texts
    std::vector<uint64_t> m_answers; // of whatever was asked last
};

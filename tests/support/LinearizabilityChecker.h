#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

/// A sequential object, and the operations that were observed on a concurrent one.
///
///   State      what the sequential object contains
///   Operation  one operation with its arguments, its result, and the times of its invocation and its response
///   apply      performs an operation; returns whether the sequential object gives the observed result. The state does
///              not matter after false.
template<class Model>
concept SequentialModel = std::copyable<typename Model::State> && std::totally_ordered<typename Model::State> &&
    requires(const Model& model, typename Model::State& state, const typename Model::Operation& operation) {
    { model.apply(state, operation) } -> std::same_as<bool>;
    { operation.m_invocation } -> std::convertible_to<uint64_t>;
    { operation.m_response } -> std::convertible_to<uint64_t>;
};

/// Decides whether a history is linearizable: whether each operation can have taken effect atomically at some moment
/// between its invocation and its response, so that the sequential object gives all observed results. An operation
/// precedes another if its response is before the other's invocation. With equal times they are concurrent.
///
/// The algorithm is that of Wing and Gong ("Testing and verifying concurrent objects", Journal of Parallel and
/// Distributed Computing 17, 1993). It chooses an operation that no other one precedes, applies it, and continues with
/// the rest; if that fails, it tries the next choice. As Lowe proposes ("Testing for linearizability", Concurrency and
/// Computation: Practice and Experience 29, 2017), it remembers each configuration that it has reached, which is the
/// set of applied operations and the state, and does not search from it again.
///
/// The number of configurations may grow exponentially with the operations that run concurrently, but only linearly
/// with the length of the history. Each operation of the history needs a stack frame.
///
/// Threads  One at a time.
template<SequentialModel Model>
class LinearizabilityChecker : private Unmovable {
public:
    using State = typename Model::State;
    using Operation = typename Model::Operation;

    /// Takes the operations in any order. All of them must have responded.
    explicit LinearizabilityChecker(std::vector<Operation> history, Model model = {})
        : m_model(std::move(model)), m_history(std::move(history)), m_isApplied(m_history.size()) {
        std::ranges::stable_sort(m_history, {}, &Operation::m_invocation);
    }

    /// Returns whether the history is linearizable, if the object was in this state before it.
    bool check(const State& initialState = {}) {
        m_configurations.clear();
        return canComplete(initialState, 0);
    }

private:
    using Configuration = std::pair<std::vector<bool>, State>;

    /// Returns whether the operations that are not applied yet can be; the first one of them is at `begin` or later.
    bool canComplete(const State& state, size_t begin) {
        while (begin != m_history.size() && m_isApplied[begin])
            ++begin;
        if (begin == m_history.size())
            return true;
        // The operations are in the order of their invocations, so only earlier ones can precede one.
        uint64_t firstResponse = ~uint64_t(0);
        for (size_t index = begin; index != m_history.size() && m_history[index].m_invocation <= firstResponse; ++index)
            if (!m_isApplied[index]) {
                if (canCompleteAfter(index, state, begin))
                    return true;
                firstResponse = std::min<uint64_t>(firstResponse, m_history[index].m_response);
            }
        return false;
    }

    bool canCompleteAfter(const size_t index, State state, const size_t begin) {
        if (!m_model.apply(state, m_history[index]))
            return false;
        m_isApplied[index] = true;
        const bool isComplete = m_configurations.emplace(m_isApplied, state).second && canComplete(state, begin);
        m_isApplied[index] = false;
        return isComplete;
    }

    const Model m_model;
    std::vector<Operation> m_history; // in the order of invocations
    std::vector<bool> m_isApplied;    // by index into the history
    std::set<Configuration> m_configurations;
};

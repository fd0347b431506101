#pragma once

#include "tests/schedules/Schedule.h"

#include <compare>
#include <cstdint>
#include <vector>

/// A string as a sequential object: it has one ID at a time, or none, and never gets an ID again that it had before.
struct StringModel {
    struct State {
        uint64_t m_currentID = 0;
        uint64_t m_createdIDs = 0; // one bit each
        auto operator<=>(const State&) const = default;
    };

    enum class Kind : uint8_t { RESOLVE, LOOK_UP, READ, DELETE };

    struct Operation {
        Kind m_kind;
        uint64_t m_resourceID;
        uint64_t m_invocation;
        uint64_t m_response;
    };

    bool apply(State& state, const Operation& operation) const;

    /// Reports a history that is not linearizable.
    static void check(Schedule& schedule, const std::vector<Operation>& history);
};

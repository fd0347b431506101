#include "tests/torture/SequentialDictionary.h"

#include <algorithm>
#include <utility>

namespace {

using State = SequentialDictionary::State;

/// Returns the term of an ID that can be read, or NO_TERM.
size_t findReadable(const State& state, const uint64_t resourceID) {
    for (size_t term = 0; term < SequentialDictionary::NUMBER_OF_TERMS; ++term)
        if (resourceID != 0 && (state.m_found[term] == resourceID || state.m_readable[term] == resourceID))
            return term;
    return SequentialDictionary::NO_TERM;
}

/// Between commits and rollbacks nothing is withdrawn, and the IDs are dense.
uint64_t getNextID(const State& state) {
    return state.m_firstNewID + static_cast<uint64_t>(std::ranges::count_if(
                                    state.m_found, [&](const uint64_t id) { return id >= state.m_firstNewID; }));
}

/// Concurrent threads get new IDs in any order, but none from before the last commit or rollback, and none twice.
bool resolve(State& state, const size_t term, const uint64_t resourceID) {
    uint64_t& found = state.m_found[term];
    if (found != 0)
        return found == resourceID;
    if (resourceID < state.m_firstNewID || resourceID >= state.m_firstNewID + SequentialDictionary::NUMBER_OF_TERMS ||
        findReadable(state, resourceID) != SequentialDictionary::NO_TERM)
        return false;
    found = resourceID;
    return true;
}

} // namespace

bool SequentialDictionary::apply(State& state, const Operation& operation) {
    switch (operation.m_kind) {
    case Kind::RESOLVE:
        return resolve(state, operation.m_term, operation.m_resourceID);
    case Kind::LOOK_UP: {
        const uint64_t found = state.m_found[operation.m_term];
        return operation.m_resourceID == (found < operation.m_point ? found : 0);
    }
    case Kind::READ:
        return operation.m_term == findReadable(state, operation.m_resourceID);
    case Kind::READ_COMMIT_POINT:
        return operation.m_resourceID == state.m_commitPoint;
    case Kind::COMMIT:
        if (operation.m_resourceID != getNextID(state))
            return false;
        state.m_commitPoint = state.m_firstNewID = operation.m_resourceID;
        return true;
    case Kind::START_ROLLBACK:
        if (operation.m_resourceID != getNextID(state))
            return false;
        state.m_firstNewID = operation.m_resourceID;
        return true;
    case Kind::WITHDRAW: {
        uint64_t& found = state.m_found[operation.m_term];
        if (found < state.m_commitPoint)
            return true;
        state.m_readable[operation.m_term] = found;
        return std::exchange(found, 0) < state.m_firstNewID; // or the rollback has not started
    }
    case Kind::FORGET:
        state.m_readable[operation.m_term] = 0;
        return state.m_found[operation.m_term] < state.m_commitPoint;
    }
    return false;
}

std::string SequentialDictionary::describe(const Operation& operation) {
    const std::string term = operation.m_term == NO_TERM ? "nothing" : std::string(1, char('a' + operation.m_term));
    const std::string resourceID = std::to_string(operation.m_resourceID);
    const auto describeAction = [&]() -> std::string {
        switch (operation.m_kind) {
        case Kind::RESOLVE:
            return "resolves " + term + ": " + resourceID;
        case Kind::LOOK_UP:
            return "looks " + term + " up" +
                   (operation.m_point == ~uint64_t(0) ? "" : " as of " + std::to_string(operation.m_point)) + ": " +
                   resourceID;
        case Kind::READ:
            return "reads " + resourceID + ": " + term;
        case Kind::READ_COMMIT_POINT:
            return "reads the commit point: " + resourceID;
        case Kind::COMMIT:
            return "commits: " + resourceID;
        default:
            return "rolls back, next ID: " + resourceID;
        }
    };
    return "thread " + std::to_string(operation.m_thread) + ", " + std::to_string(operation.m_invocation) + " to " +
           std::to_string(operation.m_response) + ": " + describeAction();
}

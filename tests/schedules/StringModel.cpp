#include "tests/schedules/StringModel.h"

#include "tests/support/LinearizabilityChecker.h"

#include <array>
#include <string>

bool StringModel::apply(State& state, const Operation& operation) const {
    const uint64_t bit = uint64_t(1) << operation.m_resourceID;
    switch (operation.m_kind) {
    case Kind::RESOLVE:
        if (state.m_currentID != 0)
            return state.m_currentID == operation.m_resourceID;
        if ((state.m_createdIDs & bit) != 0)
            return false;
        state = {operation.m_resourceID, state.m_createdIDs | bit};
        return true;
    case Kind::LOOK_UP:
        return state.m_currentID == operation.m_resourceID;
    case Kind::READ:
        return (state.m_createdIDs & bit) != 0;
    case Kind::DELETE:
        if (state.m_currentID == operation.m_resourceID)
            state.m_currentID = 0;
        return true;
    }
    return false;
}

void StringModel::check(Schedule& schedule, const std::vector<Operation>& history) {
    if (LinearizabilityChecker<StringModel>(history).check())
        return;
    constexpr std::array<const char*, 4> NAMES{"resolve", "look up", "read", "delete"};
    std::string finding = "the history of a string is not linearizable:";
    for (const Operation& operation : history)
        finding += "\n  from " + std::to_string(operation.m_invocation) + " to " +
                   std::to_string(operation.m_response) + ": " + NAMES[static_cast<size_t>(operation.m_kind)] +
                   ", ID " + std::to_string(operation.m_resourceID);
    schedule.fail(finding);
}

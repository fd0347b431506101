#include "tools/melnar-dict-mpi/SlicePlan.h"

#include <algorithm>
#include <utility>

SlicePlan::SlicePlan(std::vector<Input> inputs, const uint32_t numberOfRanks)
    : m_inputs(std::move(inputs)), m_numberOfRanks(numberOfRanks), m_firstSlices{0} {
    std::vector<uint64_t> bytesOfRanks(numberOfRanks);
    std::vector<size_t> whole; // that any rank may read
    for (size_t index = 0; index < m_inputs.size(); ++index) {
        const Input& input = m_inputs[index];
        m_firstSlices.push_back(m_firstSlices.back() +
                                (input.m_isCut ? (input.m_bytes + SLICE_SIZE - 1) / SLICE_SIZE : 1));
        m_owners.push_back(input.m_rank);
        if (input.m_rank != ANY_RANK)
            bytesOfRanks[input.m_rank] += input.m_bytes;
        else if (!input.m_isCut)
            whole.push_back(index);
    }
    std::ranges::stable_sort(whole, std::ranges::greater(),
                             [this](const size_t index) { return m_inputs[index].m_bytes; });
    for (const size_t index : whole) {
        const auto least = std::ranges::min_element(bytesOfRanks);
        m_owners[index] = static_cast<uint32_t>(least - bytesOfRanks.begin());
        *least += m_inputs[index].m_bytes;
    }
}

SlicePlan::Slice SlicePlan::getSlice(const uint64_t number) const noexcept {
    const auto behind = std::ranges::upper_bound(m_firstSlices, number);
    const size_t inputIndex = static_cast<size_t>(behind - m_firstSlices.begin()) - 1;
    const uint32_t owner =
        m_owners[inputIndex] == ANY_RANK ? static_cast<uint32_t>(number % m_numberOfRanks) : m_owners[inputIndex];
    return {inputIndex, number - m_firstSlices[inputIndex], owner};
}

#pragma once

#include "tools/melnar-dict/input/RdfFormat.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Assigns the parts of the input to ranks. An input is cut into slices, which are numbered in the order of the input.
/// A plain file with one statement per line is cut into slices of about SLICE_SIZE bytes, which the ranks get in turn.
/// Any other input is one slice, since its meaning, or the position of its text, depends on its beginning. Slices of
/// the latter kind are assigned to the rank with the fewest bytes, the largest first.
///
/// The cuts of a plain file, and so the order in which ranks resolve the terms, depend only on the input.
///
/// Source   R. L. Graham: Bounds on multiprocessing timing anomalies, 1969: the largest first.
/// Threads  Constant: any threads at any time.
class SlicePlan {
public:
    static constexpr uint64_t SLICE_SIZE = uint64_t(1) << 20;

    static constexpr uint32_t ANY_RANK = ~uint32_t(0);

    struct Input {
        std::string m_name;
        RdfFormat m_format = RdfFormat::N_TRIPLES;
        uint64_t m_bytes = 0;       // in the file
        bool m_isCut = false;       // into slices of SLICE_SIZE
        uint32_t m_rank = ANY_RANK; // the only rank that can read it
    };

    struct Slice {
        size_t m_inputIndex;
        uint64_t m_index; // in its input
        uint32_t m_owner; // the rank that reads it
    };

    SlicePlan(std::vector<Input> inputs, uint32_t numberOfRanks);

    const std::vector<Input>& getInputs() const noexcept { return m_inputs; }
    uint64_t getNumberOfSlices() const noexcept { return m_firstSlices.back(); }

    /// Returns the number of the first slice of an input; for the index after the last input, the number of slices.
    uint64_t getFirstSlice(const size_t inputIndex) const noexcept { return m_firstSlices[inputIndex]; }

    Slice getSlice(uint64_t number) const noexcept;

private:
    const std::vector<Input> m_inputs;
    const uint32_t m_numberOfRanks;
    std::vector<uint64_t> m_firstSlices;
    std::vector<uint32_t> m_owners; // of inputs that one rank reads; ANY_RANK for others
};

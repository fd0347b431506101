#pragma once

#include "tools/melnar-dict-mpi/SlicePlan.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// The progress of the ranks in the input: the next piece to be resolved. In each round, ranks report which pieces they
/// have read, and all of them derive which of these the round takes: those that follow each other in the input. So
/// terms are resolved in its order, even if some ranks are ahead.
///
/// Ownership  Refers to the plan.
/// Threads    One at a time.
class SliceFrontier {
public:
    static constexpr size_t LARGEST_OFFER = 8;

    /// A piece of a slice. Each slice has at least one, the last of which is marked.
    struct Piece {
        uint64_t m_slice = 0;
        bool m_isLast = false; // of its slice
    };

    /// The next pieces that a rank has read, in their order.
    struct Offer {
        uint32_t m_number = 0;
        std::array<Piece, LARGEST_OFFER> m_pieces{};
    };

    explicit SliceFrontier(const SlicePlan& plan) : m_plan(plan) {}

    /// A piece of a rank that a round takes.
    struct Taken {
        uint32_t m_rank;
        Piece m_piece;
        uint64_t m_index; // of the piece in its slice
    };

    /// Returns the next pieces of the offers, one offer from each rank, and advances after them.
    std::vector<Taken> take(std::span<const Offer> offers);

    bool isAtEnd() const noexcept { return m_slice == m_plan.getNumberOfSlices(); }

    /// Returns the slice of the next piece, and the index of the piece in it.
    uint64_t getSlice() const noexcept { return m_slice; }
    uint64_t getPiece() const noexcept { return m_piece; }

private:
    const SlicePlan& m_plan;
    uint64_t m_slice = 0;
    uint64_t m_piece = 0;
};

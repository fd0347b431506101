#pragma once

#include "tools/melnar-dict-mpi/SlicePlan.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// How far the ranks have come with the input: the next piece to be taken up. Ranks tell in each round which pieces they have
/// read, and all of them find out alike which of these the round takes: those that follow each other in the input. So terms
/// are taken up in its order, whoever is ahead.
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

    /// A piece that a round takes, of a rank.
    struct Taken {
        uint32_t m_rank;
        Piece m_piece;
        uint64_t m_index; // of the piece in its slice
    };

    /// Returns what of the offers, one of each rank, comes next, and goes on behind it.
    std::vector<Taken> take(std::span<const Offer> offers);

    bool isAtEnd() const noexcept { return m_slice == m_plan.getNumberOfSlices(); }

    /// The slice of the next piece, and which piece of it that is.
    uint64_t getSlice() const noexcept { return m_slice; }
    uint64_t getPiece() const noexcept { return m_piece; }

private:
    const SlicePlan& m_plan;
    uint64_t m_slice = 0;
    uint64_t m_piece = 0;
};

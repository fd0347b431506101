#include "tools/melnar-dict-mpi/SliceFrontier.h"

std::vector<SliceFrontier::Taken> SliceFrontier::take(const std::span<const Offer> offers) {
    std::vector<Taken> taken;
    std::vector<uint32_t> numbersTaken(offers.size());
    while (!isAtEnd()) {
        const uint32_t rank = m_plan.getSlice(m_slice).m_owner;
        const Offer& offer = offers[rank];
        if (numbersTaken[rank] == offer.m_number)
            break;
        const Piece& piece = offer.m_pieces[numbersTaken[rank]++];
        taken.push_back({rank, piece, m_piece++});
        if (piece.m_isLast) {
            ++m_slice;
            m_piece = 0;
        }
    }
    return taken;
}

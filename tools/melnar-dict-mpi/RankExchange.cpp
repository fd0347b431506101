#include "tools/melnar-dict-mpi/RankExchange.h"

#include "tools/melnar-dict-mpi/MPIRequest.h"
#include "tools/melnar-dict-mpi/Ranks.h"

#include <limits>
#include <new>

namespace {

// MPI counts in `int`, so larger units are used.
using Unit = uint64_t;

// Above this size, memory is released.
constexpr size_t LARGEST_SIZE_KEPT = size_t(32) << 20;

constexpr uint64_t toUnits(const uint64_t numberOfBytes) noexcept {
    return (numberOfBytes + sizeof(Unit) - 1) / sizeof(Unit);
}

} // namespace

struct RankExchange::Transfer {
    MPI_Request m_request = MPI_REQUEST_NULL;
    std::vector<int> m_sentCounts;
    std::vector<int> m_sentPlaces;
    std::vector<int> m_receivedCounts;
    std::vector<int> m_receivedPlaces;

    /// Places parts of so many bytes one after the other. Returns the bytes of all parts.
    static size_t place(const std::vector<uint64_t>& sizes, std::vector<int>& counts, std::vector<int>& places) {
        counts.clear();
        places.clear();
        uint64_t place = 0;
        for (const uint64_t size : sizes) {
            counts.push_back(static_cast<int>(toUnits(size)));
            places.push_back(static_cast<int>(place));
            place += toUnits(size);
        }
        if (place > static_cast<uint64_t>(std::numeric_limits<int>::max()))
            throw std::bad_alloc(); // so much memory is not available
        return place * sizeof(Unit);
    }
};

RankExchange::RankExchange(const Ranks& ranks)
    : m_ranks(ranks), m_receivedSizes(ranks.getNumber()), m_receivedBegins(ranks.getNumber()),
      m_transfer(std::make_unique<Transfer>()) {}

RankExchange::~RankExchange() = default;

void RankExchange::endPart() {
    if (!m_sentSizes.empty())
        m_sentSizes.back() = m_sent.size() - m_beginOfPart;
    m_sent.resize(toUnits(m_sent.size()) * sizeof(Unit));
}

void RankExchange::startPart() {
    endPart();
    m_beginOfPart = m_sent.size();
    m_sentSizes.push_back(0);
}

void RankExchange::append(const void* const data, const size_t numberOfBytes) {
    const char* const bytes = static_cast<const char*>(data);
    m_sent.insert(m_sent.end(), bytes, bytes + numberOfBytes);
}

void RankExchange::clear() noexcept {
    m_sent.clear();
    m_sentSizes.clear();
    m_beginOfPart = 0;
}

void RankExchange::start() {
    endPart();
    m_sentSizes.resize(m_ranks.getNumber());
    MPI_Ialltoall(m_sentSizes.data(), 1, MPI_UINT64_T, m_receivedSizes.data(), 1, MPI_UINT64_T, MPI_COMM_WORLD,
                  &m_transfer->m_request);
    waitFor(m_transfer->m_request);
    Transfer::place(m_sentSizes, m_transfer->m_sentCounts, m_transfer->m_sentPlaces);
    const size_t size = Transfer::place(m_receivedSizes, m_transfer->m_receivedCounts, m_transfer->m_receivedPlaces);
    if (m_received.capacity() > LARGEST_SIZE_KEPT && size <= LARGEST_SIZE_KEPT)
        m_received = {};
    if (m_received.size() < size)
        m_received.resize(size);
    for (uint32_t rank = 0; rank < m_ranks.getNumber(); ++rank) {
        m_receivedBegins[rank] = static_cast<size_t>(m_transfer->m_receivedPlaces[rank]) * sizeof(Unit);
        if (rank != m_ranks.getRank())
            m_numberOfBytesSent += m_sentSizes[rank];
    }
    MPI_Ialltoallv(m_sent.data(), m_transfer->m_sentCounts.data(), m_transfer->m_sentPlaces.data(), MPI_UINT64_T,
                   m_received.data(), m_transfer->m_receivedCounts.data(), m_transfer->m_receivedPlaces.data(),
                   MPI_UINT64_T, MPI_COMM_WORLD, &m_transfer->m_request);
}

void RankExchange::finish() {
    waitFor(m_transfer->m_request);
    clear();
    if (m_sent.capacity() > LARGEST_SIZE_KEPT)
        m_sent = {};
}

std::span<const char> RankExchange::getPart(const uint32_t source) const noexcept {
    return {m_received.data() + m_receivedBegins[source], m_receivedSizes[source]};
}

#include "tools/melnar-dict/input/GzipDecoder.h"

#include "tools/melnar-dict/input/PackedFormat.h"

#include <algorithm>
#include <limits>

namespace {

constexpr char FIRST_BYTE_OF_MEMBER = 0x1F;
constexpr uint32_t RESERVED_FLAGS = 0xE0; // "must be zero" (RFC 1952, 2.3.1)

uint32_t limitSize(const size_t size) noexcept {
    return static_cast<uint32_t>(std::min<size_t>(size, std::numeric_limits<uint32_t>::max()));
}

[[noreturn]] void failWith(const char* const cause) {
    failAsUnsound(PackedFormat::GZIP, cause);
}

} // namespace

GzipDecoder::GzipDecoder() noexcept {
    isal_inflate_init(&m_state);
}

bool GzipDecoder::decode(std::span<char>& packed, bool, std::span<char>& unpacked) {
    for (;;)
        switch (m_position) {
        case Position::BETWEEN_MEMBERS:
            if (packed.empty())
                return true;
            startMember(packed);
            break;
        case Position::IN_HEADER:
            if (advance(packed, unpacked, [this] { return isal_read_gzip_header(&m_state, &m_header); }) ==
                ISAL_END_INPUT)
                return false;
            // The library skips no fields for such a flag, so what follows would be taken for data.
            if ((m_header.flags & RESERVED_FLAGS) != 0)
                failWith("a header has a reserved flag");
            m_position = Position::IN_DATA;
            break;
        case Position::IN_DATA:
            advance(packed, unpacked, [this] { return isal_inflate(&m_state); });
            if (m_state.block_state == ISAL_BLOCK_FINISH)
                m_position = Position::BETWEEN_MEMBERS;
            else if (packed.empty() || unpacked.empty())
                return false;
            break;
        case Position::IN_PADDING:
            skipPadding(packed);
            return true;
        }
}

void GzipDecoder::startMember(std::span<char>& packed) {
    if (packed.front() == 0)
        m_position = Position::IN_PADDING;
    else if (packed.front() != FIRST_BYTE_OF_MEMBER)
        failWith("something else follows the compressed data");
    else {
        isal_inflate_reset(&m_state);
        isal_gzip_header_init(&m_header);
        m_state.crc_flag = ISAL_GZIP_NO_HDR_VER;
        m_position = Position::IN_HEADER;
    }
}

void GzipDecoder::skipPadding(std::span<char>& packed) {
    if (std::any_of(packed.begin(), packed.end(), [](const char byte) { return byte != 0; }))
        failWith("something else follows the compressed data");
    packed = {};
}

template<class Function>
int GzipDecoder::advance(std::span<char>& packed, std::span<char>& unpacked, const Function function) {
    m_state.next_in = reinterpret_cast<uint8_t*>(packed.data());
    m_state.avail_in = limitSize(packed.size());
    m_state.next_out = reinterpret_cast<uint8_t*>(unpacked.data());
    m_state.avail_out = limitSize(unpacked.size());
    const int result = function();
    // At the end of a member the library returns bytes that it should not have taken, also in earlier calls.
    packed = {reinterpret_cast<char*>(m_state.next_in), packed.data() + packed.size()};
    unpacked = {reinterpret_cast<char*>(m_state.next_out), unpacked.data() + unpacked.size()};
    if (result < 0)
        failWith(result == ISAL_INCORRECT_CHECKSUM ? "its checksum or length does not match its data"
                                                   : "its data is damaged");
    return result;
}

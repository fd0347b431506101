#include "tools/melnar-dict/input/GzipSource.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <limits>
#include <new>
#include <string>

namespace {

constexpr size_t PACKED_BUFFER_SIZE = 256 * 1024;
// zlib's largest window, and its flag for "expect the gzip format".
constexpr int WINDOW_BITS_OF_GZIP = 15 + 16;
constexpr Bytef FIRST_BYTE_OF_GZIP = 0x1f;

[[noreturn]] void failWith(const std::string& cause) {
    throw ToolFailure(ExitCode::FAILURE, "not a sound gzip file: " + cause);
}

} // namespace

GzipSource::GzipSource(std::unique_ptr<ByteSource> packed)
    : m_packed(std::move(packed)), m_packedBytes(PACKED_BUFFER_SIZE) {
    if (inflateInit2(&m_stream, WINDOW_BITS_OF_GZIP) != Z_OK)
        throw std::bad_alloc();
}

GzipSource::~GzipSource() {
    inflateEnd(&m_stream);
}

size_t GzipSource::read(char* const buffer, const size_t size) {
    const uInt capacity = static_cast<uInt>(std::min<size_t>(size, std::numeric_limits<uInt>::max()));
    m_stream.next_out = reinterpret_cast<Bytef*>(buffer);
    m_stream.avail_out = capacity;
    while (m_stream.avail_out == capacity && m_position != Position::AT_END) {
        if (m_stream.avail_in == 0 && !refill())
            m_position = Position::AT_END;
        else if (m_position == Position::IN_MEMBER)
            switch (inflate(&m_stream, Z_NO_FLUSH)) {
            case Z_OK:
                break;
            case Z_STREAM_END:
                m_position = Position::BETWEEN_MEMBERS;
                break;
            case Z_MEM_ERROR:
                throw std::bad_alloc();
            default:
                failWith(m_stream.msg != nullptr ? m_stream.msg : "its data is damaged");
            }
        else
            passMemberEnd();
    }
    return capacity - m_stream.avail_out;
}

/// False at the end of the packed bytes, which may come only behind a whole member.
bool GzipSource::refill() {
    const size_t numberOfBytes = m_packed->read(m_packedBytes.data(), m_packedBytes.size());
    if (numberOfBytes == 0 && m_position == Position::IN_MEMBER)
        failWith("it ends early");
    m_stream.next_in = reinterpret_cast<Bytef*>(m_packedBytes.data());
    m_stream.avail_in = static_cast<uInt>(numberOfBytes);
    return numberOfBytes != 0;
}

void GzipSource::passMemberEnd() {
    const Bytef nextByte = *m_stream.next_in;
    if (nextByte == 0) {
        m_position = Position::IN_PADDING;
        ++m_stream.next_in;
        --m_stream.avail_in;
    } else if (m_position == Position::BETWEEN_MEMBERS && nextByte == FIRST_BYTE_OF_GZIP) {
        m_position = Position::IN_MEMBER;
        inflateReset(&m_stream);
    } else
        failWith("something else follows the packed data");
}

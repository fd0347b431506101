#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <memory>
#include <vector>

#include <zlib.h>

/// What a gzip file holds, unpacked: all of its members, each checked against its checksum and length.
///
/// Zero bytes behind the last member are padding, as tapes leave it; anything else there is an error, since it means
/// that something was lost or mixed up.
///
/// Errors  Besides those of the packed source: a wrong checksum, a file that ends early, bytes that are not gzip.
class GzipSource final : public ByteSource {
public:
    explicit GzipSource(std::unique_ptr<ByteSource> packed);
    ~GzipSource() override;

    size_t read(char* buffer, size_t size) override;

private:
    enum class Position { IN_MEMBER, BETWEEN_MEMBERS, IN_PADDING, AT_END };

    bool refill();
    void passMemberEnd();

    std::unique_ptr<ByteSource> m_packed;
    std::vector<char> m_packedBytes;
    z_stream m_stream{};
    Position m_position = Position::IN_MEMBER;
};

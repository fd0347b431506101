#pragma once

#include "tools/melnar-dict/input/Decoder.h"

#include <cstdint>

#include <isa-l/igzip_lib.h>

/// gzip: any number of members, each checked against its checksum and length.
///
/// Zero bytes after the last member are padding, as on tapes. Anything else there is an error, since it means that data
/// was lost or mixed up.
class GzipDecoder final : public Decoder {
public:
    GzipDecoder() noexcept;

    bool decode(std::span<char>& packed, bool isLast, std::span<char>& unpacked) override;

private:
    enum class Position { BETWEEN_MEMBERS, IN_HEADER, IN_DATA, IN_PADDING };

    void startMember(std::span<char>& packed);
    void skipPadding(std::span<char>& packed);

    /// Calls a function of the library on the state; returns its result unless that is a failure.
    template<class Function>
    int advance(std::span<char>& packed, std::span<char>& unpacked, Function function);

    inflate_state m_state;
    isal_gzip_header m_header; // the library stores the part of a header that it has read so far in it
    Position m_position = Position::BETWEEN_MEMBERS;
};

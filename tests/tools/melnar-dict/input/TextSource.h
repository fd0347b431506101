#pragma once

#include "tools/melnar-dict/input/ByteSource.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

/// A text as a source that delivers a few bytes at a time, and then ends or fails.
class TextSource final : public ByteSource {
public:
    explicit TextSource(std::string text, const size_t bytesAtOnce = 1 << 20,
                        std::optional<std::string> failure = std::nullopt)
        : m_text(std::move(text)), m_bytesAtOnce(bytesAtOnce), m_failure(std::move(failure)) {}

    size_t read(char* const buffer, const size_t size) override {
        const size_t numberOfBytes = m_text.copy(buffer, std::min(size, m_bytesAtOnce), m_offset);
        m_offset += numberOfBytes;
        if (numberOfBytes == 0 && m_failure)
            throw ToolFailure(ExitCode::FAILURE, *m_failure);
        return numberOfBytes;
    }

private:
    const std::string m_text;
    const size_t m_bytesAtOnce;
    const std::optional<std::string> m_failure;
    size_t m_offset = 0;
};

#pragma once

#include "Reader/CharacterClass.h"
#include "Reader/ReaderOptions.h"
#include "Reader/TextArena.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace Rdf {

/// The text that terms are read from, and what is wrong with it.
///
/// All functions that read something of the text take the place where it starts and return the place after it; null
/// when it is not there or not right, and then the window holds the failure. None looks beyond the end. When more text
/// follows that is not there yet, whatever was made of a text whose end was touched counts for nothing.
class TextWindow {
public:
    static constexpr int END = -1;

    /// What follows the end.
    enum class Beyond : uint8_t { NOTHING, MORE_TEXT, INVALID_BYTE };

    explicit TextWindow(const Version version) noexcept : m_isVersion12(version == Version::RDF_1_2) {}

    /// Opens the window on well-formed UTF-8.
    void open(const char* const end, const Beyond beyond) noexcept {
        m_end = end;
        m_beyond = beyond;
        m_isEndTouched = false;
    }

    const char* getEnd() const noexcept { return m_end; }
    Beyond getBeyond() const noexcept { return m_beyond; }
    bool isVersion12() const noexcept { return m_isVersion12; }
    TextArena& getArena() noexcept { return m_arena; }

    /// Returns the byte here, or END.
    int peek(const char* const at) noexcept {
        if (at != m_end) [[likely]]
            return static_cast<uint8_t>(*at);
        m_isEndTouched = true;
        return END;
    }

    bool is(const char* const at, const char character) noexcept { return peek(at) == character; }
    bool isPair(const char* const at, const char first, const char second) noexcept {
        return is(at, first) && is(at + 1, second);
    }

    /// Notes that something ends here perhaps only because the text does.
    const char* touch(const char* const at) noexcept {
        m_isEndTouched |= at == m_end;
        return at;
    }

    /// Whether more text might make another thing of what was read.
    bool isIncomplete() const noexcept { return m_isEndTouched && m_beyond == Beyond::MORE_TEXT; }

    /// Whether the text ends here because no UTF-8 follows.
    bool isInvalidHere(const char* const at) const noexcept { return at == m_end && m_beyond == Beyond::INVALID_BYTE; }

    /// Remember that the rest of the input has no end of a long string with these quotes, so that it is searched once.
    bool isKnownUnclosed(const char quote) const noexcept { return m_isKnownUnclosed[quote == '"']; }
    void setKnownUnclosed(const char quote) noexcept { m_isKnownUnclosed[quote == '"'] |= m_beyond == Beyond::NOTHING; }

    /// Record a failure and return null.
    std::nullptr_t fail(const char* at, std::string message);
    std::nullptr_t failExpected(const char* at, std::string_view expected);
    std::nullptr_t failUnclosed(const char* opening, std::string_view kind, const char* end, std::string_view expected);

    /// Makes the failure that of something that was opened here and is not closed.
    std::nullptr_t blameOpening(const char* opening, std::string_view kind);

    std::nullptr_t failNesting(const char* opening, size_t limit);
    std::nullptr_t failLength(const char* begin, std::string_view kind, size_t limit);

    /// Names what stands here, such as: '.', the end of the line, U+0000.
    std::string describe(const char* at);

    const char* getFailurePlace() const noexcept { return m_failurePlace; }
    std::string takeFailure() noexcept { return std::move(m_failure); }

    /// Whether the failure is that the input is at its end.
    bool isFailureAtEnd() const noexcept { return m_failurePlace == m_end && m_beyond != Beyond::INVALID_BYTE; }

    /// Returns how far the failing function looked.
    const char* getFailureEnd() const noexcept { return m_failureEnd; }

private:
    const char* m_end = nullptr;
    bool m_isEndTouched = false;
    Beyond m_beyond = Beyond::NOTHING;
    std::array<bool, 2> m_isKnownUnclosed{};
    const bool m_isVersion12;
    TextArena m_arena;
    const char* m_failurePlace = nullptr;
    const char* m_failureEnd = nullptr;
    std::string m_failure;
};

} // namespace Rdf

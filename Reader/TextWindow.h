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

/// The text from which terms are read, and the failure.
///
/// All functions that read a part of the text take the position where it starts and return the position after it; or
/// null if it is missing or wrong, and then the window contains the failure. None reads beyond the end. If more text
/// follows later, every result that depended on the end of the text must be discarded.
class TextWindow {
public:
    static constexpr int END = -1;

    /// The value of the byte after the end.
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

    /// Records that something may end here only because the text does.
    const char* touch(const char* const at) noexcept {
        m_isEndTouched |= at == m_end;
        return at;
    }

    /// Returns whether more text might change the result.
    bool isIncomplete() const noexcept { return m_isEndTouched && m_beyond == Beyond::MORE_TEXT; }

    /// Returns whether the text ends here because it is followed by bytes that are not UTF-8.
    bool isInvalidHere(const char* const at) const noexcept { return at == m_end && m_beyond == Beyond::INVALID_BYTE; }

    /// Records that the rest of the input has no end of a long string with these quotes, so that it is searched only
    /// once.
    bool isKnownUnclosed(const char quote) const noexcept { return m_isKnownUnclosed[quote == '"']; }
    void setKnownUnclosed(const char quote) noexcept { m_isKnownUnclosed[quote == '"'] |= m_beyond == Beyond::NOTHING; }

    /// Record a failure and return null.
    std::nullptr_t fail(const char* at, std::string message);
    std::nullptr_t failExpected(const char* at, std::string_view expected);
    std::nullptr_t failUnclosed(const char* opening, std::string_view kind, const char* end, std::string_view expected);

    /// Changes the failure to that of something that was opened here and is not closed.
    std::nullptr_t blameOpening(const char* opening, std::string_view kind);

    std::nullptr_t failNesting(const char* opening, size_t limit);
    std::nullptr_t failLength(const char* begin, std::string_view kind, size_t limit);

    /// Describes the text here, such as: '.', the end of the line, U+0000.
    std::string describe(const char* at);

    const char* getFailurePlace() const noexcept { return m_failurePlace; }
    std::string takeFailure() noexcept { return std::move(m_failure); }

    /// Returns whether the failure is that the input has ended.
    bool isFailureAtEnd() const noexcept { return m_failurePlace == m_end && m_beyond != Beyond::INVALID_BYTE; }

    /// Returns the position up to which the failing function has read.
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

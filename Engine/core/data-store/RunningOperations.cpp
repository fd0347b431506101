#include "Engine/core/data-store/RunningOperations.h"

#ifdef MELNAR_CHECKED

#include "Engine/core/platform/MelnarException.h"

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/RunningOperations";
constexpr long LINE_EXCLUDED = 57;
constexpr long LINE_FORM_IN_BATCH = 84;
constexpr long LINE_COLUMNS_OVERLAP = 93;

constexpr uint32_t BITS_OF_KIND = 12;
constexpr size_t NUMBER_OF_KINDS = 5;

constexpr std::array<const char*, NUMBER_OF_KINDS> NAMES{"reads or looks up", "creates resources",
                                                         "changes what is committed or saved",
                                                         "saves, verifies or reads the tables", "must run alone"};

constexpr uint64_t getOne(const RunningOperations::Kind kind) noexcept {
    return uint64_t(1) << BITS_OF_KIND * uint32_t(kind);
}

constexpr uint64_t getMask(const RunningOperations::Kind kind) noexcept {
    return getOne(kind) * ((uint64_t(1) << BITS_OF_KIND) - 1);
}

/// Returns the counters of all kinds that a kind excludes.
constexpr uint64_t getExcluded(const RunningOperations::Kind kind) noexcept {
    using Kind = RunningOperations::Kind;
    switch (kind) {
    case Kind::READ:
        return getMask(Kind::ALONE);
    case Kind::RESOLVE:
        return getMask(Kind::COMMIT) | getMask(Kind::SAVE) | getMask(Kind::ALONE);
    case Kind::COMMIT:
        return getMask(Kind::RESOLVE) | getMask(Kind::COMMIT) | getMask(Kind::SAVE) | getMask(Kind::ALONE);
    case Kind::SAVE:
        return getMask(Kind::RESOLVE) | getMask(Kind::COMMIT) | getMask(Kind::ALONE);
    case Kind::ALONE:
        break;
    }
    return ~uint64_t(0);
}

/// The object that the calling thread currently uses alone; its counters exclude other threads.
constinit thread_local const RunningOperations* s_alone = nullptr;

} // namespace

RunningOperations::Operation::Operation(RunningOperations& operations, const Kind kind)
    : m_operations(operations), m_kind(kind), m_outerAlone(s_alone) {
    if (s_alone == &operations && kind == Kind::READ)
        return;
    const uint64_t others = operations.m_running.fetch_add(getOne(kind), std::memory_order_relaxed) & getExcluded(kind);
    if (others != 0) {
        operations.m_running.fetch_sub(getOne(kind), std::memory_order_relaxed);
        size_t other = 0;
        while ((others & getMask(Kind(other))) == 0)
            ++other;
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_EXCLUDED, MelnarException::NO_CAUSES,
                              "An operation that ", NAMES[size_t(kind)], " was started on a dictionary while one that ",
                              NAMES[other], " was running.");
    }
    if (kind == Kind::ALONE)
        s_alone = &operations;
}

RunningOperations::Operation::~Operation() {
    if (m_outerAlone == &m_operations && m_kind == Kind::READ)
        return;
    s_alone = m_outerAlone;
    m_operations.m_running.fetch_sub(getOne(m_kind), std::memory_order_relaxed);
}

void RunningOperations::requireApart(const std::span<const BatchEntry> entries) {
    const auto* const begin = reinterpret_cast<const char*>(entries.data());
    const auto* const end = reinterpret_cast<const char*>(entries.data() + entries.size());
    for (size_t index = 0; index < entries.size(); ++index) {
        const std::string_view form = entries[index].m_lexicalForm;
        if (!form.empty() && !std::less<>()(form.data(), begin) && std::less<>()(form.data(), end))
            throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_FORM_IN_BATCH, MelnarException::NO_CAUSES,
                                  "The lexical form of entry ", index, " starts in the batch itself.");
    }
}

void RunningOperations::requireApart(const std::span<const std::byte> questions,
                                     const std::span<const std::byte> answers) {
    if (!questions.empty() && !answers.empty() && std::less<>()(questions.data(), answers.data() + answers.size()) &&
        std::less<>()(answers.data(), questions.data() + questions.size()))
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_COLUMNS_OVERLAP, MelnarException::NO_CAUSES,
                              "The results of a column overlap its inputs.");
}

#endif

#include "Engine/core/data-store/terms/AffixTable.h"

#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/platform/MelnarException.h"

#include <cstring>
#include <mutex>
#include <string>

namespace melnar {

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/terms/AffixTable";
constexpr long LINE_MALFORMED_STREAM = 178;

} // namespace

AffixTable::AffixTable(MemoryManager& memoryManager, const uint32_t numberOfSightings) noexcept
    : m_numberOfSightings(numberOfSightings), m_records(memoryManager),
      m_texts(memoryManager), m_indexes{Index(memoryManager), Index(memoryManager), Index(memoryManager),
                                        Index(memoryManager), Index(memoryManager), Index(memoryManager),
                                        Index(memoryManager), Index(memoryManager)},
      m_index(nullptr), m_size(0), m_level(0), m_sumOfLengths(0) {}

void AffixTable::initialize() noexcept {
    m_records.deinitialize();
    m_texts.deinitialize();
    for (Index& index : m_indexes)
        index.deinitialize();
    m_index.store(nullptr, std::memory_order_relaxed);
    m_size.store(0, std::memory_order_relaxed);
    m_level = 0;
    m_sumOfLengths = 0;
    for (Atomic<uint32_t>& recent : m_recentTexts)
        recent.store(0, std::memory_order_relaxed);
}

uint64_t AffixTable::getHash(const uint32_t number) const noexcept {
    return number == 0 ? FNV_1A_OFFSET_BASIS : m_records[number].m_hash;
}

/// Hashes word by word, which for such texts is much faster than hashLexicalForm. The hash is never saved.
uint64_t AffixTable::hash(const std::string_view text) noexcept {
    constexpr uint64_t MULTIPLIER = 0x9E3779B97F4A7C15; // 2^64 over the golden ratio
    uint64_t hash = text.size() * MULTIPLIER;
    const auto mix = [&hash](const uint64_t word) {
        hash = (hash ^ word) * MULTIPLIER;
        hash ^= hash >> 32;
    };
    size_t position = 0;
    for (; position + sizeof(uint64_t) <= text.size(); position += sizeof(uint64_t)) {
        uint64_t word;
        std::memcpy(&word, text.data() + position, sizeof(word));
        mix(word);
    }
    uint64_t word = 0;
    if (position != text.size())
        std::memcpy(&word, text.data() + position, text.size() - position);
    mix(word);
    return hash;
}

uint32_t AffixTable::getNumberFor(const std::string_view text) noexcept {
    if (text.empty() || text.size() > LONGEST_TEXT)
        return 0;
    const uint64_t textHash = hash(text);
    if (const uint32_t number = find(text, textHash); number != 0)
        return number;
    if (getSize() == LARGEST_NUMBER || !isMetOftenEnough(textHash))
        return 0;
    try {
        return enter(text, textHash);
    } catch (...) {
        return 0; // If there is no memory to shorten terms, there will soon be none for terms, which is reported then.
    }
}

uint32_t AffixTable::find(const std::string_view text, const uint64_t textHash) const noexcept {
    const Index* const index = m_index.load(std::memory_order_acquire); // A4
    if (index == nullptr)
        return 0;
    const size_t mask = index->getMaximumNumberOfItems() - 1;
    for (size_t distance = 0; distance < LONGEST_PROBE; ++distance) {
        const uint32_t number = (*index)[(textHash + distance) & mask].load(std::memory_order_acquire); // A2
        if (number == 0 || getText(number) == text)
            return number;
    }
    return 0;
}

/// Counts a text. When two texts share a counter, the one that is seen next restarts it. The counter also restarts
/// after a text has been seen often enough: the text gets a number then, or there is no room for it.
bool AffixTable::isMetOftenEnough(const uint64_t textHash) noexcept {
    constexpr uint32_t COUNT_MASK = 0xFF;
    Atomic<uint32_t>& recent = m_recentTexts[textHash % NUMBER_OF_RECENT_TEXTS];
    const uint32_t tag = static_cast<uint32_t>(textHash >> 32) & ~COUNT_MASK;
    const uint32_t known = recent.load(std::memory_order_relaxed);
    const uint32_t count = (known & ~COUNT_MASK) == tag ? (known & COUNT_MASK) + 1 : 1;
    const bool isEnough = count >= m_numberOfSightings;
    recent.store(isEnough ? 0 : tag | count, std::memory_order_relaxed);
    return isEnough;
}

/// Returns 0 if the table is full.
uint32_t AffixTable::enter(const std::string_view text, const uint64_t textHash) {
    const std::lock_guard lock(m_mutex);
    if (const uint32_t number = find(text, textHash); number != 0)
        return number; // Another thread was faster.
    const uint32_t number = getSize() + 1;
    if (number > LARGEST_NUMBER || m_sumOfLengths + text.size() > LARGEST_SUM_OF_LENGTHS)
        return 0;
    append(text);
    return number;
}

/// Gives the next number to a text. After a throw only accessible sizes have changed.
void AffixTable::append(const std::string_view text) {
    const uint32_t number = getSize() + 1;
    if (m_records.getMaximumNumberOfItems() == 0)
        m_records.initialize(LARGEST_NUMBER + 1);
    if (m_texts.getMaximumNumberOfItems() == 0)
        m_texts.initialize(LARGEST_SUM_OF_LENGTHS);
    m_records.ensureEndAtLeast(number + 1);
    m_texts.ensureEndAtLeast(m_sumOfLengths + text.size());
    const bool isFirst = m_index.load(std::memory_order_relaxed) == nullptr;
    if (isFirst || 2 * size_t(number) > getIndexSize(m_level))
        makeIndex(isFirst ? 0 : m_level + 1);
    std::memcpy(m_texts.getData() + m_sumOfLengths, text.data(), text.size());
    m_records[number] = {hashLexicalForm(text.data(), text.size()), static_cast<uint32_t>(m_sumOfLengths),
                         static_cast<uint32_t>(text.size())};
    m_sumOfLengths += text.size();
    m_size.store(number, std::memory_order_relaxed);
    enterInIndex(m_level, hash(text), number);
}

/// A text without a free bucket is not found: terms that were made to collide are stored whole.
void AffixTable::enterInIndex(const size_t level, const uint64_t textHash, const uint32_t number) noexcept {
    Index& index = m_indexes[level];
    const size_t mask = getIndexSize(level) - 1;
    for (size_t distance = 0; distance < LONGEST_PROBE; ++distance) {
        Atomic<uint32_t>& place = index[(textHash + distance) & mask];
        if (place.load(std::memory_order_relaxed) != 0)
            continue;
        place.store(number, std::memory_order_release); // A1
        return;
    }
}

/// Makes an index of all texts, which is used from now on.
void AffixTable::makeIndex(const size_t level) {
    Index& index = m_indexes[level];
    index.initialize(getIndexSize(level));
    index.ensureEndAtLeast(getIndexSize(level));
    for (uint32_t number = 1; number <= getSize(); ++number)
        enterInIndex(level, hash(getText(number)), number);
    m_level = level;
    m_index.store(&index, std::memory_order_release); // A3
}

size_t AffixTable::getCommittedBytes() const noexcept {
    size_t bytes = m_records.getCommittedBytes() + m_texts.getCommittedBytes();
    for (const Index& index : m_indexes)
        bytes += index.getCommittedBytes();
    return bytes;
}

void AffixTable::save(OutputStream& outputStream) const {
    outputStream.writeUInt64(getSize());
    for (uint32_t number = 1; number <= getSize(); ++number)
        outputStream.writeString(getText(number));
}

template<class Stream, class ReportDamage>
void AffixTable::load(Stream& inputStream, const ReportDamage& reportDamage) {
    initialize();
    const uint64_t size = inputStream.readUInt64();
    if (size > LARGEST_NUMBER)
        reportDamage("it has " + std::to_string(size) + " shared texts.");
    std::array<char, LONGEST_TEXT> text;
    for (uint64_t number = 1; number <= size; ++number) {
        const uint64_t length = inputStream.readUInt64();
        if (length == 0 || length > LONGEST_TEXT)
            reportDamage("its shared text " + std::to_string(number) + " has " + std::to_string(length) + " bytes.");
        if (m_sumOfLengths + length > LARGEST_SUM_OF_LENGTHS)
            reportDamage("its shared texts are longer than " + std::to_string(LARGEST_SUM_OF_LENGTHS) + " bytes.");
        inputStream.readExactly(text.data(), length);
        append({text.data(), length});
    }
}

void AffixTable::load(InputStream& inputStream) {
    load(inputStream, [](const std::string& finding) {
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_MALFORMED_STREAM, MelnarException::NO_CAUSES,
                              "Invalid input file: ", finding);
    });
}

void AffixTable::loadUntrusted(UntrustedInputStream& inputStream) {
    load(inputStream, [&inputStream](const std::string& finding) { inputStream.reportDamage(finding); });
}

} // namespace melnar

#include "benchmarks/workloads/WorkloadData.h"

#include "benchmarks/data/LiteralFile.h"
#include "benchmarks/data/RandomNumbers.h"
#include "benchmarks/data/RandomOrder.h"
#include "benchmarks/data/TextGenerator.h"
#include "benchmarks/data/ZipfSampler.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

namespace {

constexpr double ZIPF_EXPONENT = 0.99;

std::optional<TextKind> findKind(const std::string& source) {
    if (source == "a")
        return TextKind::SHORT;
    if (source == "b")
        return TextKind::MIXED;
    return std::nullopt;
}

/// Returns the given strings, each made longer until it differs from all of them.
TextList makeLonger(const TextList& texts) {
    std::unordered_set<std::string_view> presentTexts;
    for (size_t index = 0; index < texts.getSize(); ++index)
        presentTexts.insert(texts[index]);
    TextList absentTexts;
    std::string text;
    for (size_t index = 0; index < texts.getSize(); ++index) {
        text = texts[index];
        do
            text += '\1';
        while (presentTexts.contains(text));
        absentTexts.append(text);
    }
    return absentTexts;
}

/// Returns strings like those of the source, none of which is among `texts`.
TextList makeAbsentTexts(const std::string& source, const TextList& texts) {
    if (const std::optional<TextKind> kind = findKind(source))
        return generateTexts(*kind, texts.getSize(), texts.getSize());
    return makeLonger(texts);
}

uint64_t getSumOfChecksums(const TextList& texts) {
    uint64_t sum = 0;
    for (size_t index = 0; index < texts.getSize(); ++index)
        sum += getChecksum(texts[index]);
    return sum;
}

} // namespace

TextList makeTexts(const std::string& source, const size_t number) {
    if (const std::optional<TextKind> kind = findKind(source))
        return generateTexts(*kind, 0, number);
    const TextList texts = readLiterals(source);
    std::vector<uint32_t> order = makeRandomOrder(texts.getSize(), 1);
    order.resize(std::min(order.size(), number));
    return texts.select(order);
}

WorkloadData::WorkloadData(const BenchmarkOptions& options)
    : m_texts(makeTexts(options.m_source, options.m_numberOfTexts)) {
    const size_t size = m_texts.getSize();
    if (options.has("re") || options.has("get"))
        m_order = makeRandomOrder(size, 2);
    if (options.has("re"))
        m_textsInOrder = m_texts.select(m_order);
    if (options.has("miss"))
        m_absentTexts = makeAbsentTexts(options.m_source, m_texts);
    m_checksum = getSumOfChecksums(m_texts);
    if (!options.has("zipf"))
        return;
    const ZipfSampler sampler(size, ZIPF_EXPONENT);
    RandomNumbers randomNumbers(3);
    std::vector<bool> isDrawn(size);
    std::vector<uint32_t> drawnIndices(2 * size);
    for (uint32_t& index : drawnIndices) {
        index = static_cast<uint32_t>(sampler(randomNumbers));
        isDrawn[index] = true;
    }
    m_drawnTexts = m_texts.select(drawnIndices);
    m_numberOfDistinctDrawn = static_cast<size_t>(std::count(isDrawn.begin(), isDrawn.end(), true));
}

WorkloadData::WorkloadData(TextList texts)
    : m_texts(std::move(texts)), m_order(makeRandomOrder(m_texts.getSize(), 2)),
      m_textsInOrder(m_texts.select(m_order)), m_checksum(getSumOfChecksums(m_texts)) {}

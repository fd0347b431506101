#include "benchmarks/data/WorkloadData.h"

#include "benchmarks/data/LiteralFile.h"
#include "benchmarks/data/RandomNumbers.h"
#include "benchmarks/data/RandomOrder.h"
#include "benchmarks/data/TextGenerator.h"
#include "benchmarks/data/ZipfSampler.h"

#include <algorithm>
#include <unordered_set>

namespace {

constexpr double ZIPF_EXPONENT = 0.99;

/// The given strings, each made longer until it is none of them.
TextList makeAbsentTexts(const TextList& texts) {
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

} // namespace

WorkloadData::WorkloadData(const std::string& source, const size_t number) {
    if (source == "a" || source == "b") {
        const TextKind kind = source == "a" ? TextKind::SHORT : TextKind::MIXED;
        m_texts = generateTexts(kind, 0, number);
        m_absentTexts = generateTexts(kind, number, number);
    } else {
        const TextList texts = readLiterals(source);
        std::vector<uint32_t> order = makeRandomOrder(texts.getSize(), 1);
        order.resize(std::min(order.size(), number));
        m_texts = texts.select(order);
        m_absentTexts = makeAbsentTexts(texts).select(order);
    }
    const size_t size = m_texts.getSize();
    m_order = makeRandomOrder(size, 2);
    m_textsInOrder = m_texts.select(m_order);

    const ZipfSampler sampler(size, ZIPF_EXPONENT);
    RandomNumbers randomNumbers(3);
    std::vector<bool> isDrawn(size);
    m_drawnIndices.resize(2 * size);
    for (uint32_t& index : m_drawnIndices) {
        index = static_cast<uint32_t>(sampler(randomNumbers));
        isDrawn[index] = true;
    }
    m_drawnTexts = m_texts.select(m_drawnIndices);
    m_numberOfDistinctDrawn = static_cast<size_t>(std::count(isDrawn.begin(), isDrawn.end(), true));

    m_checksum = 0;
    for (size_t index = 0; index < size; ++index)
        m_checksum += getChecksum(m_texts[index]);
}

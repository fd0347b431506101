#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include "tests/support/GuardedBytes.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

/// An implementation, if this processor can run it.
struct Implementation {
    const char* m_name;
    LexicalFormLanes::HashInOrder m_hashInOrder;
};

std::vector<Implementation> getImplementations() {
    std::vector<Implementation> implementations{{"portable", LexicalFormLanes::hashInOrderPortably}};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2"))
        implementations.push_back({"AVX2", LexicalFormLanes::hashInOrderWithAVX2});
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq"))
        implementations.push_back({"AVX-512", LexicalFormLanes::hashInOrderWithAVX512});
#endif
    return implementations;
}

/// Forms between inaccessible pages, adjacent to one of them: the lanes read words, with instructions that
/// AddressSanitizer does not watch.
class Forms {
public:
    Forms(const std::vector<size_t>& lengths, const GuardedBytes::FlushWith flushWith) {
        std::mt19937_64 generator(42);
        for (const size_t length : lengths) {
            m_bytes.push_back(std::make_unique<GuardedBytes>(length, flushWith));
            std::generate_n(m_bytes.back()->get(), length, [&generator] { return static_cast<char>(generator()); });
            m_forms.emplace_back(m_bytes.back()->get(), length);
        }
    }

    /// Adds an empty form that is nowhere in memory, as a refused literal has.
    void addFormWithoutAddress() { m_forms.emplace_back(); }

    void expectRightHashes(const Implementation& implementation) const {
        std::vector<uint16_t> order(m_forms.size());
        std::iota(order.begin(), order.end(), uint16_t(0));
        std::stable_sort(order.begin(), order.end(), [this](const uint16_t first, const uint16_t second) {
            return m_forms[first].size() < m_forms[second].size();
        });
        std::vector<uint64_t> hashes(m_forms.size() + 1, 7);
        implementation.m_hashInOrder(m_forms.data(), order.data(), order.size(), hashes.data());
        for (size_t place = 0; place < m_forms.size(); ++place)
            ASSERT_EQ(hashLexicalForm(m_forms[place].data(), m_forms[place].size()), hashes[place])
                << implementation.m_name << ", form " << place << " of " << m_forms.size() << ", length "
                << m_forms[place].size();
        EXPECT_EQ(7u, hashes.back()) << "nothing beyond the forms is written";
    }

private:
    std::vector<std::unique_ptr<GuardedBytes>> m_bytes;
    std::vector<std::string_view> m_forms;
};

void expectRightHashes(const std::vector<size_t>& lengths) {
    for (const auto flushWith : {GuardedBytes::FlushWith::START_OF_PAGE, GuardedBytes::FlushWith::END_OF_PAGE}) {
        const Forms forms(lengths, flushWith);
        for (const Implementation& implementation : getImplementations())
            forms.expectRightHashes(implementation);
    }
}

TEST(LexicalFormLanesTest, everyLengthHashesAsAlone) {
    std::vector<size_t> lengths(300);
    std::iota(lengths.begin(), lengths.end(), size_t(0));
    expectRightHashes(lengths);
}

TEST(LexicalFormLanesTest, everyNumberOfFormsOfOneLengthHashesAsAlone) {
    for (size_t numberOfForms = 0; numberOfForms <= 70; ++numberOfForms)
        for (const size_t length : {0u, 7u, 8u, 13u, 16u})
            expectRightHashes(std::vector<size_t>(numberOfForms, length));
}

TEST(LexicalFormLanesTest, formsOfVeryDifferentLengthsShareLanes) {
    expectRightHashes({100000, 8, 0, 9, 5000, 1, 15, 16, 17, 63, 64, 65, 7, 3, 1000, 12, 12, 12});
}

/// Only UndefinedBehaviorSanitizer sees an offset that is added to null; nothing is read there.
TEST(LexicalFormLanesTest, formsWithoutAddressShareLanesWithLongOnes) {
    Forms forms({65, 200, 3}, GuardedBytes::FlushWith::END_OF_PAGE);
    forms.addFormWithoutAddress();
    for (const Implementation& implementation : getImplementations())
        forms.expectRightHashes(implementation);
}

TEST(LexicalFormLanesTest, formsOfRandomLengthsShareLanes) {
    std::mt19937_64 generator(43);
    for (size_t round = 0; round < 100; ++round) {
        std::vector<size_t> lengths(1 + generator() % 64);
        std::generate(lengths.begin(), lengths.end(),
                      [&generator] { return generator() % (generator() % 3 == 0 ? 300 : 40); });
        expectRightHashes(lengths);
    }
}

TEST(LexicalFormLanesTest, theFastestIsOneOfThoseTested) {
    const std::vector<Implementation> implementations = getImplementations();
    EXPECT_TRUE(std::any_of(implementations.begin(), implementations.end(), [](const Implementation& implementation) {
        return implementation.m_hashInOrder == LexicalFormLanes::getFastest();
    }));
}

} // namespace

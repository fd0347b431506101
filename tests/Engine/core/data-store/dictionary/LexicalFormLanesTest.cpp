#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

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

namespace {

/// An implementation, when this processor can run it.
struct Implementation {
    const char* m_name;
    LexicalFormLanes::HashInOrder m_hashInOrder;
};

std::vector<Implementation> getImplementations() {
    std::vector<Implementation> implementations{{"portable", LexicalFormLanes::hashInOrderPortably}};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2"))
        implementations.push_back({"AVX2", LexicalFormLanes::hashInOrderWithAVX2});
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq"))
        implementations.push_back({"AVX-512", LexicalFormLanes::hashInOrderWithAVX512});
#endif
    return implementations;
}

/// Forms that each fill an allocation of their own, so that AddressSanitizer finds a read outside.
class Forms {
public:
    explicit Forms(const std::vector<size_t>& lengths) {
        std::mt19937_64 generator(42);
        for (const size_t length : lengths) {
            m_bytes.push_back(std::make_unique<char[]>(length));
            std::generate_n(m_bytes.back().get(), length, [&generator] { return static_cast<char>(generator()); });
            m_forms.emplace_back(m_bytes.back().get(), length);
        }
    }

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
    std::vector<std::unique_ptr<char[]>> m_bytes;
    std::vector<std::string_view> m_forms;
};

TEST(LexicalFormLanesTest, everyLengthHashesAsAlone) {
    for (const Implementation& implementation : getImplementations()) {
        std::vector<size_t> lengths(300);
        std::iota(lengths.begin(), lengths.end(), size_t(0));
        Forms(lengths).expectRightHashes(implementation);
    }
}

TEST(LexicalFormLanesTest, everyNumberOfFormsOfOneLengthHashesAsAlone) {
    for (const Implementation& implementation : getImplementations())
        for (size_t numberOfForms = 0; numberOfForms <= 70; ++numberOfForms)
            for (const size_t length : {0u, 7u, 8u, 13u, 16u})
                Forms(std::vector<size_t>(numberOfForms, length)).expectRightHashes(implementation);
}

TEST(LexicalFormLanesTest, formsOfVeryDifferentLengthsShareLanes) {
    for (const Implementation& implementation : getImplementations())
        Forms({100000, 8, 0, 9, 5000, 1, 15, 16, 17, 63, 64, 65, 7, 3, 1000, 12, 12, 12})
            .expectRightHashes(implementation);
}

TEST(LexicalFormLanesTest, theFastestIsOneOfThoseTested) {
    const std::vector<Implementation> implementations = getImplementations();
    EXPECT_TRUE(std::any_of(implementations.begin(), implementations.end(), [](const Implementation& implementation) {
        return implementation.m_hashInOrder == LexicalFormLanes::getFastest();
    }));
}

} // namespace

#include "tools/melnar-dict-mpi/TermCache.h"

#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr uint8_t IRI = 1;
constexpr uint8_t TEXT = 2;

constexpr size_t PLACES_OF_A_SET = 4;
constexpr uint64_t TAGS_OF_THE_REFUSED = 8;

/// Makes a hash for which a term is in a set, and has a tag there. The lowest bits, which determine the shard, have no
/// effect.
constexpr uint64_t makeHash(const uint64_t set, const uint64_t tag, const uint64_t shard = 0) {
    return (2 * tag + 1) << 48 | set << 8 | shard;
}

/// A cache, and terms of one set, each with its own tag: term 0 has the ID 1.
class TermCacheTest : public testing::Test {
protected:
    static constexpr uint64_t getHash(const uint64_t term) { return makeHash(7, term, term % 256); }

    uint64_t find(const uint64_t term) { return m_cache.find(getHash(term), std::to_string(term), TEXT); }
    void addOnce(const uint64_t term) { m_cache.add(getHash(term), std::to_string(term), TEXT, term + 1); }

    /// Adds a term.
    void add(const uint64_t term) {
        addOnce(term);
        addOnce(term);
    }

    void addAll() {
        for (uint64_t term = 0; term < PLACES_OF_A_SET; ++term)
            add(term);
    }

    void findOften(const uint64_t term) {
        for (int time = 0; time < 1000; ++time)
            EXPECT_EQ(term + 1, find(term));
    }

    TermCache m_cache;
};

TEST_F(TermCacheTest, aTermIsLetInWhenItIsAddedForTheSecondTime) {
    EXPECT_EQ(0u, find(0));
    addOnce(0);
    EXPECT_EQ(0u, find(0));
    addOnce(0);
    EXPECT_EQ(1u, find(0));
    EXPECT_EQ(1u, find(0)) << "it stays";
}

TEST_F(TermCacheTest, anyHashFormAndIDHasAPlace) {
    for (const uint64_t hash : {uint64_t(0), ~uint64_t(0), makeHash(0, 1)})
        for (const std::string& form : {std::string(), std::string("\0\xFF\0", 3), std::string("\0\xFF", 2)}) {
            const uint64_t id = ~uint64_t(0) - form.size();
            EXPECT_EQ(0u, m_cache.find(hash, form, 0)) << "places that are free have no term";
            m_cache.prefetch(hash);
            m_cache.add(hash, form, 0, id);
            m_cache.add(hash, form, 0, id);
            EXPECT_EQ(id, m_cache.find(hash, form, 0)) << hash << ", " << form.size();
            EXPECT_EQ(0u, m_cache.find(hash, form + '1', 0));
            EXPECT_EQ(0u, m_cache.find(hash, form, 255));
        }
}

TEST_F(TermCacheTest, longTermsHaveNoPlace) {
    const std::string longest(TermCache::LONGEST_FORM, 'l');
    const uint64_t hash = getHash(0);
    for (int time = 0; time < 2; ++time)
        m_cache.add(hash, longest, TEXT, 1);
    EXPECT_EQ(1u, m_cache.find(hash, longest, TEXT));
    for (const std::string& more :
         {longest + 'l', longest + '\0', std::string(256, 'l'), std::string(256 + longest.size(), 'l')}) {
        for (int time = 0; time < 3; ++time)
            m_cache.add(hash, more, TEXT, 2);
        EXPECT_EQ(0u, m_cache.find(hash, more, TEXT)) << more.size();
    }
    EXPECT_EQ(1u, m_cache.find(hash, longest, TEXT));
}

/// They have the same tag only with a bad hash, or by an attack.
TEST_F(TermCacheTest, termsWithOneTagAreSeveralTerms) {
    const uint64_t hash = getHash(0);
    const std::vector<std::tuple<std::string, uint8_t>> terms{{"x", TEXT}, {"x", IRI}, {"y", TEXT}, {"xy", TEXT}};
    for (uint64_t index = 0; index < terms.size(); ++index) {
        const auto& [form, datatypeID] = terms[index];
        EXPECT_EQ(0u, m_cache.find(hash, form, datatypeID)) << index;
        m_cache.add(hash, form, datatypeID, index + 1);
        EXPECT_EQ(0u, m_cache.find(hash, form, datatypeID)) << index;
        m_cache.add(hash, form, datatypeID, index + 1);
    }
    for (uint64_t index = 0; index < terms.size(); ++index)
        EXPECT_EQ(index + 1, m_cache.find(hash, std::get<0>(terms[index]), std::get<1>(terms[index])));
}

TEST_F(TermCacheTest, termsOfOtherSetsAreOutOfTheWay) {
    const auto addTo = [this](const uint64_t set, const uint64_t id) {
        const uint64_t hash = makeHash(set, 5);
        EXPECT_EQ(0u, m_cache.find(hash, "a", TEXT)) << set;
        m_cache.add(hash, "a", TEXT, id);
        EXPECT_EQ(0u, m_cache.find(hash, "a", TEXT)) << set << ": what one set has refused another one has not";
        m_cache.add(hash, "a", TEXT, id);
    };
    constexpr uint64_t SETS = 1 << 15;
    for (uint64_t set = 0; set < SETS; ++set)
        addTo(set, set + 1);
    for (uint64_t set = 0; set < SETS; ++set)
        EXPECT_EQ(set + 1, m_cache.find(makeHash(set, 5), "a", TEXT));
}

TEST_F(TermCacheTest, placesThatAreFreeAreTakenBeforeOthers) {
    addAll();
    for (uint64_t term = 0; term < PLACES_OF_A_SET; ++term)
        EXPECT_EQ(term + 1, find(term)) << "although it was not requested";
}

TEST_F(TermCacheTest, aFullSetGivesThePlaceOfTheLeastUsed) {
    for (uint64_t least = 0; least < PLACES_OF_A_SET; ++least) {
        SCOPED_TRACE(least);
        TermCache cache;
        const auto findIn = [&cache](const uint64_t term) {
            return cache.find(getHash(term), std::to_string(term), TEXT);
        };
        const auto addTo = [&cache](const uint64_t term) {
            for (int time = 0; time < 2; ++time)
                cache.add(getHash(term), std::to_string(term), TEXT, term + 1);
        };
        for (uint64_t term = 0; term < PLACES_OF_A_SET; ++term)
            addTo(term);
        for (uint64_t term = 0; term < PLACES_OF_A_SET; ++term)
            if (term != least)
                findIn(term);
        addTo(PLACES_OF_A_SET);
        for (uint64_t term = 0; term <= PLACES_OF_A_SET; ++term)
            EXPECT_EQ(term == least ? 0 : term + 1, findIn(term));
    }
}

TEST_F(TermCacheTest, frequentTermsOutlastManyRareOnes) {
    addAll();
    for (uint64_t term = PLACES_OF_A_SET; term < 100; ++term) {
        EXPECT_EQ(1u, find(0)) << term;
        add(term);
        EXPECT_EQ(term + 1, find(term)) << "the newest one is there";
    }
}

TEST_F(TermCacheTest, formerlyFrequentTermsAreEvicted) {
    addAll();
    for (uint64_t term = 0; term < PLACES_OF_A_SET; ++term)
        findOften(term);
    for (uint64_t term = 100; term < 103; ++term)
        add(term);
    for (uint64_t term = 1; term < PLACES_OF_A_SET; ++term)
        EXPECT_EQ(term + 1, find(term)) << "new ones take the place of a new one";
    for (uint64_t term = 103; term < 120; ++term)
        add(term);
    for (uint64_t term = 0; term < PLACES_OF_A_SET; ++term)
        EXPECT_EQ(0u, find(term)) << term;
}

TEST_F(TermCacheTest, theRefusedAreRememberedForAWhile) {
    addOnce(0);
    for (uint64_t term = 1; term < TAGS_OF_THE_REFUSED; ++term)
        addOnce(term);
    addOnce(0);
    EXPECT_EQ(1u, find(0)) << "the others have left it its tag";
    TermCache cache;
    for (uint64_t term = 0; term <= TAGS_OF_THE_REFUSED; ++term)
        cache.add(getHash(term), "a", TEXT, term + 1);
    cache.add(getHash(0), "a", TEXT, 1);
    EXPECT_EQ(0u, cache.find(getHash(0), "a", TEXT)) << "one more has taken it";
    cache.add(getHash(0), "a", TEXT, 1);
    EXPECT_EQ(1u, cache.find(getHash(0), "a", TEXT));
}

TEST_F(TermCacheTest, aTermThatHasLostItsPlaceIsRefusedOnceMore) {
    addAll();
    for (uint64_t term = 1; term < PLACES_OF_A_SET; ++term)
        findOften(term);
    add(PLACES_OF_A_SET);
    EXPECT_EQ(0u, find(0));
    addOnce(0);
    EXPECT_EQ(0u, find(0)) << "that it was refused before is not counted twice";
    addOnce(0);
    EXPECT_EQ(1u, find(0));
}

TEST_F(TermCacheTest, aTermThatIsThereStaysAsItIs) {
    addAll();
    for (uint64_t term = 0; term < PLACES_OF_A_SET; ++term)
        for (int time = 0; time < 10; ++time)
            addOnce(term);
    for (uint64_t term = 0; term < PLACES_OF_A_SET; ++term)
        EXPECT_EQ(term + 1, find(term)) << "a term has one place";
}

TEST_F(TermCacheTest, aTermThatIsThereTakesNoTagOfTheRefused) {
    for (uint64_t term = 0; term < PLACES_OF_A_SET - 1; ++term)
        add(term);
    addOnce(10);
    for (uint64_t time = 0; time < 2 * TAGS_OF_THE_REFUSED + 1; ++time)
        for (uint64_t term = 0; term < PLACES_OF_A_SET - 1; ++term)
            addOnce(term);
    addOnce(10);
    EXPECT_EQ(11u, find(10));
}

/// There are few sets and tags, so many terms have the same ones.
TEST_F(TermCacheTest, whatIsFoundIsRight) {
    constexpr uint64_t TERMS = 20'000;
    for (const uint32_t seed : getTestSeeds(2)) {
        SCOPED_TRACE(describeSeed(seed));
        std::mt19937_64 random(seed);
        TermCache cache;
        std::map<std::tuple<std::string, uint8_t>, uint64_t> terms;
        uint64_t found = 0;
        uint64_t lost = 0;
        for (int step = 0; step < 400'000; ++step) {
            const uint64_t number = random() % (random() % 2 == 0 ? TERMS : 100);
            std::string form = std::to_string(number);
            form.resize(number % (TermCache::LONGEST_FORM + 5), 'x'); // makes many terms equal
            const auto datatypeID = static_cast<uint8_t>(number % 3);
            const uint64_t hash = makeHash(std::hash<std::string>()(form) % 64, datatypeID + form.size() % 5);
            const uint64_t id = terms.try_emplace({form, datatypeID}, terms.size() + 1).first->second;
            const uint64_t inCache = cache.find(hash, form, datatypeID);
            ASSERT_TRUE(inCache == 0 || inCache == id) << form;
            ++(inCache == 0 ? lost : found);
            if (inCache == 0 || random() % 8 == 0)
                cache.add(hash, form, datatypeID, id);
        }
        EXPECT_GT(found, 50'000u);
        EXPECT_GT(lost, 2 * terms.size()) << "nothing ever gave its place to another term";
    }
}

} // namespace

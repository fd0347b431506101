#include "tests/torture/MixedTorture.h"

#include "Engine/core/platform/MelnarException.h"
#include "tests/support/RunTogether.h"

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr size_t TURNS_BETWEEN_RESTS = 256; // of all threads together
constexpr size_t RESTS_PER_ROUND = 3;
constexpr size_t PLENTY = size_t(64) << 20;
constexpr uint64_t NARROW = 200000;
constexpr uint64_t WIDE = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS + 1;
constexpr uint64_t FEW = 3000;

/// What limits the dictionaries of a round, beside their terms. A dictionary of all its terms needs about a MiB.
struct RoundKind {
    size_t m_memoryLimit;
    uint64_t m_maximumNumberOfResources;
    bool m_keepsFingerprints;
};

constexpr std::array<RoundKind, 6> ROUND_KINDS{{{PLENTY, NARROW, true},
                                                {size_t(256) << 10, NARROW, true},
                                                {PLENTY, WIDE, false},
                                                {size_t(512) << 10, WIDE, false},
                                                {PLENTY, FEW, true},
                                                {size_t(768) << 10, NARROW, true}}};
constexpr uint32_t NUMBER_OF_TERMS = 10000;

/// What has happened at the rests.
struct RestCounts {
    uint64_t m_rests = 0;
    uint64_t m_growths = 0; // of tables, at least: each doubling
    uint64_t m_compactions = 0;
    uint64_t m_refusedCompactions = 0;
    uint64_t m_recoveries = 0; // after terms were refused for lack of space

    [[nodiscard]] bool hasAll() const noexcept {
        return m_growths != 0 && m_compactions != 0 && m_refusedCompactions != 0 && m_recoveries != 0;
    }

    [[nodiscard]] std::string describe() const {
        return withCommas(m_growths) + " doublings of tables, " + withCommas(m_rests) + " rests, " +
               withCommas(m_compactions) + " compactions, " + withCommas(m_refusedCompactions) +
               " refused for lack of memory, " + withCommas(m_recoveries) + " recoveries from lack of space";
    }
};

/// One dictionary, from its first term to its last.
class Round : private Unmovable {
public:
    Round(const RoundKind& kind, const uint64_t seed, Findings& findings, const ChangeFoundID& changeFoundID,
          RestCounts& counts)
        : m_subject({.m_memoryLimit = kind.m_memoryLimit,
                     .m_maximumNumberOfResources = kind.m_maximumNumberOfResources,
                     .m_keepFingerprints = kind.m_keepsFingerprints},
                    NUMBER_OF_TERMS, std::min(kind.m_maximumNumberOfResources, NARROW), findings, changeFoundID),
          m_findings(findings), m_counts(counts), m_random(seed), m_tableSizes(getTableSizes()) {}

    MixedCounts run(const size_t numberOfThreads) {
        MixedCounts counts;
        for (size_t rest = 0; rest < RESTS_PER_ROUND && !m_findings.isEnough(); ++rest) {
            counts.add(work(numberOfThreads));
            takeRest(rest + 1 == RESTS_PER_ROUND);
        }
        return counts;
    }

private:
    MixedCounts work(const size_t numberOfThreads) {
        std::vector<uint64_t> seeds(numberOfThreads);
        std::ranges::generate(seeds, m_random);
        std::vector<MixedCounts> ofThreads(numberOfThreads);
        runTogether(numberOfThreads, [&](const size_t index) {
            try {
                MixedWork work(m_subject, seeds[index]);
                for (size_t turn = 0; turn < TURNS_BETWEEN_RESTS / numberOfThreads && !m_findings.isEnough(); ++turn)
                    work.takeTurn();
                ofThreads[index] = work.getCounts();
            } catch (const std::exception& exception) {
                m_findings.add(exception.what());
            }
        });
        MixedCounts counts;
        for (const MixedCounts& ofThread : ofThreads)
            counts.add(ofThread);
        return counts;
    }

    void takeRest(const bool isLast) {
        ++m_counts.m_rests;
        countGrowths();
        compare("after the work");
        const uint64_t divisor = m_random() % 4 + 1;
        const bool isCompacted = !isLast && compact([divisor](const uint64_t resourceID, const ResourceValue&) {
            return divisor == 1 || resourceID % divisor != 0;
        });
        if (!isCompacted)
            recover();
        m_tableSizes = getTableSizes();
    }

    /// Compacts, and returns true; or finds that nothing has changed when the memory ends.
    bool compact(const Dictionary::SurvivesCompaction& survives) {
        try {
            const std::vector<uint64_t> newResourceIDs = m_subject.m_dictionary.compact(survives);
            const std::string difference =
                m_subject.m_model.compact(newResourceIDs, m_subject.m_dictionary.getNextResourceID());
            if (!difference.empty())
                m_findings.add(difference);
            ++m_counts.m_compactions;
            compare("after a compaction");
            return true;
        } catch (const MemoryExhaustedException&) {
            ++m_counts.m_refusedCompactions;
            compare("after a compaction that was refused");
            return false;
        }
    }

    /// Removes all terms, for which there is always enough memory. Then there is space for new ones.
    void recover() {
        constexpr uint32_t NEW_TERMS = 200;
        Dictionary& dictionary = m_subject.m_dictionary;
        if (!compact([](uint64_t, const ResourceValue&) { return false; }))
            m_findings.add("there is no memory to remove all terms");
        DictionaryThread thread(dictionary);
        NumberedTerm term;
        for (uint32_t number = 0; number < NEW_TERMS; ++number) {
            term.make(number);
            if (!m_subject.m_model.agree(number,
                                         dictionary.resolveResource(thread, term.getForm(), term.getDatatypeID())))
                m_findings.add("a dictionary that was emptied gives a wrong ID");
        }
        compare("after all terms were removed");
        ++m_counts.m_recoveries;
    }

    void compare(const std::string& moment) {
        const std::string difference = m_subject.m_model.compare(m_subject.m_dictionary);
        if (!difference.empty())
            m_findings.add(moment + ": " + difference);
    }

    [[nodiscard]] std::map<std::string, size_t> getTableSizes() const {
        std::map<std::string, size_t> sizes;
        for (const TableProfile& profile : m_subject.m_dictionary.getTableProfiles(1))
            sizes[profile.m_name] = profile.m_numberOfBuckets;
        return sizes;
    }

    /// A table that was made since the last rest had the smallest size.
    void countGrowths() {
        constexpr size_t SMALLEST_SIZE = 1024;
        for (const auto& [name, size] : getTableSizes()) {
            const size_t before = m_tableSizes.try_emplace(name, SMALLEST_SIZE).first->second;
            if (size > before)
                m_counts.m_growths += static_cast<size_t>(std::countr_zero(size / before));
        }
    }

    MixedSubject m_subject;
    Findings& m_findings;
    RestCounts& m_counts;
    std::mt19937_64 m_random;
    std::map<std::string, size_t> m_tableSizes; // of the last rest, by name
};

} // namespace

bool tortureByMixedWork(const std::chrono::seconds duration, const size_t numberOfThreads, const uint32_t seed,
                        std::ostream& output, const ChangeFoundID& changeFoundID) {
    Findings findings(output);
    MixedCounts counts;
    RestCounts restCounts;
    const auto end = std::chrono::steady_clock::now() + duration;
    size_t round = 0;
    for (; (round < ROUND_KINDS.size() || std::chrono::steady_clock::now() < end) && !findings.isEnough(); ++round) {
        std::seed_seq seeds{seed, static_cast<uint32_t>(round)};
        counts.add(Round(ROUND_KINDS[round % ROUND_KINDS.size()], std::mt19937_64(seeds)(), findings, changeFoundID,
                         restCounts)
                       .run(numberOfThreads));
    }
    const bool isRight = findings.finish(counts.sumUp(), "operations", "all right",
                                         " (" + std::to_string(numberOfThreads) + " threads, " + withCommas(round) +
                                             " rounds: " + counts.describe() + "; " + restCounts.describe() + ")");
    const bool hasShownSomething = counts.hasAll() && restCounts.hasAll();
    if (!hasShownSomething)
        output << "This run has shown too little: one of these figures is 0.\n";
    return isRight && hasShownSomething;
}

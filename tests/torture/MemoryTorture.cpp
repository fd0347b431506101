#include "tests/torture/MemoryTorture.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/torture/Findings.h"
#include "tests/torture/NumberedTerms.h"

#include <algorithm>
#include <fstream>
#include <future>
#include <iomanip>
#include <memory>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(1) << 30;
constexpr uint32_t BATCH_SIZE = 1024;
constexpr uint32_t NUMBER_OF_PARTS = 4; // of the terms, one of which is replaced in each cycle
constexpr double LARGEST_DIFFERENCE = 0.02;

// The numbers of all terms have ten digits, so that the forms of all parts have the same lengths.
constexpr uint32_t FIRST_NUMBER = 1000000000;
constexpr uint32_t FIRST_NUMBER_ROLLED_BACK = 2000000000;
constexpr uint32_t DIFFERENT_PARTS = 8;

/// Returns the memory that the process itself has taken, resident or swapped out. Pages of files do not count: the
/// system loads and drops them as it likes. The memory is counted page by page; the figures of /proc/self/statm may
/// lack pages that threads have not reported yet.
size_t getResidentKibibytes() {
    std::ifstream file("/proc/self/smaps_rollup");
    size_t sum = 0;
    size_t numberOfFigures = 0;
    for (std::string word; file >> word;)
        if (size_t kibibytes = 0; (word == "Anonymous:" || word == "Swap:") && file >> kibibytes) {
            sum += kibibytes;
            ++numberOfFigures;
        }
    if (numberOfFigures != 2)
        throw std::runtime_error("/proc/self/smaps_rollup does not state the memory of the process");
    return sum;
}

/// A dictionary that changes and keeps its size.
class ChangingDictionary : private Unmovable {
public:
    ChangingDictionary(const uint32_t numberOfTerms, const std::string& folder)
        : m_termsPerPart(numberOfTerms / NUMBER_OF_PARTS), m_fileName(folder + "/memory.dict"),
          m_dictionary(std::make_unique<Dictionary>(DictionaryOptions{.m_memoryLimit = MEMORY_LIMIT})) {
        while (m_endPart < NUMBER_OF_PARTS)
            addPart();
    }

    void performCycle() {
        addTerms(FIRST_NUMBER_ROLLED_BACK);
        m_dictionary->rollback();
        addPart();
        const uint64_t lastRemovedID = m_termsPerPart;
        m_dictionary->compact(
            [lastRemovedID](const uint64_t resourceID, const ResourceValue&) { return resourceID > lastRemovedID; });
        m_dictionary->save(m_fileName);
        m_dictionary.reset();
        m_dictionary = Dictionary::open(m_fileName, {.m_memoryLimit = MEMORY_LIMIT});
        checkTerms();
    }

private:
    [[nodiscard]] uint32_t getFirstNumber(const size_t part) const {
        return FIRST_NUMBER + static_cast<uint32_t>(part % DIFFERENT_PARTS) * m_termsPerPart;
    }

    void addPart() {
        addTerms(getFirstNumber(m_endPart++));
        m_dictionary->commit();
    }

    /// Calls `operation(batch)` for terms from a number on.
    template<class Operation>
    static void forEachBatch(const uint32_t firstNumber, const uint32_t numberOfTerms, const Operation& operation) {
        NumberedBatch batch;
        for (uint32_t begin = 0; begin < numberOfTerms; begin += BATCH_SIZE) {
            std::vector<uint32_t> numbers(std::min(BATCH_SIZE, numberOfTerms - begin));
            std::iota(numbers.begin(), numbers.end(), firstNumber + begin);
            batch.make(numbers);
            operation(batch.getEntries());
        }
    }

    static void require(const bool isTrue, const std::string& claim) {
        if (!isTrue)
            throw std::runtime_error("not true that " + claim);
    }

    /// Resolves a part's number of terms in two threads.
    void addTerms(const uint32_t firstNumber) {
        const auto addTermsOfThread = [this](const uint32_t first, const uint32_t number) {
            DictionaryThread thread(*m_dictionary);
            forEachBatch(first, number, [&](const std::span<BatchEntry> entries) {
                std::vector<BatchFailure> failures;
                m_dictionary->resolveResources(thread, entries, failures);
                require(failures.empty(), "no term is refused");
            });
        };
        const uint32_t half = m_termsPerPart / 2;
        auto other = std::async(std::launch::async, addTermsOfThread, firstNumber + half, m_termsPerPart - half);
        addTermsOfThread(firstNumber, half);
        other.get();
    }

    void checkTerms() const {
        require(m_dictionary->size() == size_t(m_termsPerPart) * NUMBER_OF_PARTS, "there are as many terms as before");
        std::string form;
        for (size_t part = m_endPart - NUMBER_OF_PARTS; part < m_endPart; ++part)
            forEachBatch(getFirstNumber(part), m_termsPerPart, [&](const std::span<BatchEntry> entries) {
                std::vector<BatchFailure> failures;
                m_dictionary->tryResolveResources(m_dictionary->getCommitPoint(), entries, failures);
                std::vector<BatchEntry> found(entries.begin(), entries.end());
                m_dictionary->getResources(found);
                for (size_t index = 0; index < found.size(); ++index) {
                    form.clear();
                    m_dictionary->appendLexicalForm(found[index], form);
                    require(form == entries[index].m_lexicalForm, "each term is found and can be read");
                }
            });
    }

    const uint32_t m_termsPerPart;
    const std::string m_fileName;
    size_t m_endPart = 0; // after the last part of the dictionary
    std::unique_ptr<Dictionary> m_dictionary;
};

std::string describeSize(const size_t kibibytes) {
    return withCommas(kibibytes) + " KiB";
}

} // namespace

bool tortureMemory(const MemoryTortureOptions& options, const std::string& folder, std::ostream& output) {
    Findings findings(output);
    const auto begin = std::chrono::steady_clock::now();
    const auto hasPassed = [begin](const auto duration) {
        return std::chrono::steady_clock::now() - begin >= duration;
    };
    const auto warmUp = std::min<std::chrono::seconds>(options.m_duration / 10, std::chrono::minutes(10));
    size_t reference = 0;
    size_t smallest = ~size_t(0);
    size_t largest = 0;
    size_t numberOfCycles = 0;
    size_t numberOfMeasurements = 0; // the reference and those after it
    try {
        ChangingDictionary dictionary(options.m_numberOfTerms, folder);
        while (!hasPassed(options.m_duration) || numberOfCycles < options.m_smallestNumberOfCycles) {
            dictionary.performCycle();
            if (options.m_afterCycle != nullptr)
                options.m_afterCycle();
            ++numberOfCycles;
            if (!hasPassed(warmUp) || numberOfCycles < options.m_smallestNumberOfCycles / 3)
                continue;
            const size_t resident = getResidentKibibytes();
            if (numberOfMeasurements++ == 0)
                reference = resident;
            smallest = std::min(smallest, resident);
            largest = std::max(largest, resident);
            const double difference = static_cast<double>(resident) / static_cast<double>(reference) - 1;
            if (difference > LARGEST_DIFFERENCE || difference < -LARGEST_DIFFERENCE)
                findings.add("after cycle " + std::to_string(numberOfCycles) + ", " + describeSize(resident) +
                             " are resident, not " + describeSize(reference));
        }
    } catch (const std::exception& exception) {
        findings.add("cycle " + std::to_string(numberOfCycles + 1) + ": " + exception.what());
    }
    return findings.finish(
        numberOfMeasurements, "measurements of resident memory", "none differs from the first by 2 %",
        " (after cycle " + withCommas(numberOfCycles - numberOfMeasurements + 1) + " of " + withCommas(numberOfCycles) +
            ": " + describeSize(reference) + ", later " + describeSize(smallest) + " to " + describeSize(largest) +
            "; " + withCommas(options.m_numberOfTerms) + " terms)");
}

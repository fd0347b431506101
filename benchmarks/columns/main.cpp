#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "benchmarks/pages/PagePool.h"
#include "benchmarks/program/BenchmarkProgram.h"
#include "benchmarks/workloads/WorkloadData.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Resolves whole columns of distinct strings with an empty dictionary (_build) and when all exist (_re), and reads them
// back in random order (_get), on one thread: nanoseconds of processor time per string. The ways: "entries" fills the
// entries of a batch by hand, for the whole column; "pieces" does so with 2,048 at a time; "views" and "arrow" are
// encode and decode of std::string_views and of Arrow's buffers, which copy what is read. The _tagged ones resolve the
// strings with a language tag; "entries" and "pieces" join them first. ratio_WAY_WORKLOAD is the time of a way over
// that of "entries". The ways are measured in turn.

namespace {

constexpr size_t MEMORY_LIMIT = size_t(1) << 36;
constexpr size_t PIECE_SIZE = 2048;
constexpr std::string_view LANGUAGE_TAG = "en";

void require(const bool condition, const char* const objection) {
    if (!condition)
        throw std::runtime_error(objection);
}

double getProcessorSeconds() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The same strings as views and in Arrow's layout.
struct Column {
    explicit Column(const TextList& texts) {
        for (size_t index = 0; index < texts.getSize(); ++index) {
            m_bytes += texts[index];
            m_offsets.push_back(static_cast<int64_t>(m_bytes.size()));
        }
        for (size_t index = 0; index < texts.getSize(); ++index)
            m_views.push_back(getArrow().getText(index));
    }

    ArrowStrings<int64_t> getArrow() const { return {m_bytes.data(), m_offsets}; }

    std::string m_bytes;
    std::vector<int64_t> m_offsets{0};
    std::vector<std::string_view> m_views;
};

/// Fills at most LARGEST_PIECE entries at a time by hand.
template<size_t LARGEST_PIECE>
struct ByEntries {
    void resolve(Dictionary& dictionary, DictionaryThread& thread, const Column& column,
                 const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
        std::vector<BatchFailure> failures;
        std::vector<std::string> forms;
        for (size_t begin = 0; begin < resourceIDs.size(); begin += LARGEST_PIECE) {
            const auto texts =
                std::span(column.m_views).subspan(begin, std::min(LARGEST_PIECE, resourceIDs.size() - begin));
            m_entries.clear();
            forms.resize(languageTag.empty() ? 0 : texts.size());
            for (size_t index = 0; index < texts.size(); ++index)
                if (languageTag.empty())
                    m_entries.push_back({texts[index], 0, D_XSD_STRING});
                else {
                    forms[index].assign(texts[index]).append("@").append(languageTag);
                    m_entries.push_back({forms[index], 0, D_RDF_PLAIN_LITERAL});
                }
            dictionary.resolveResources(thread, m_entries, failures);
            std::ranges::transform(m_entries, resourceIDs.subspan(begin).begin(), &BatchEntry::m_resourceID);
        }
        require(failures.empty(), "a string is refused");
    }

    void read(const Dictionary& dictionary, const std::span<const uint64_t> resourceIDs) {
        m_texts.resize(resourceIDs.size());
        for (size_t begin = 0; begin < resourceIDs.size(); begin += LARGEST_PIECE) {
            m_entries.clear();
            for (const uint64_t resourceID :
                 resourceIDs.subspan(begin, std::min(LARGEST_PIECE, resourceIDs.size() - begin)))
                m_entries.push_back({{}, resourceID});
            dictionary.getResources(m_entries);
            std::ranges::transform(m_entries, m_texts.begin() + static_cast<ptrdiff_t>(begin),
                                   &BatchEntry::m_lexicalForm);
        }
    }

    std::string_view getText(const size_t index) const { return m_texts[index]; }

    std::vector<BatchEntry> m_entries;
    std::vector<std::string_view> m_texts;
};

struct ByViews {
    void resolve(Dictionary& dictionary, DictionaryThread& thread, const Column& column,
                 const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
        dictionary.encode(thread, column.m_views, resourceIDs, languageTag);
    }

    void read(const Dictionary& dictionary, const std::span<const uint64_t> resourceIDs) {
        m_texts.resize(resourceIDs.size());
        dictionary.decode(resourceIDs, m_texts);
    }

    std::string_view getText(const size_t index) const { return m_texts[index]; }

    std::vector<std::string_view> m_texts;
};

struct ByArrow {
    void resolve(Dictionary& dictionary, DictionaryThread& thread, const Column& column,
                 const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
        dictionary.encode(thread, column.getArrow(), resourceIDs, languageTag);
    }

    void read(const Dictionary& dictionary, const std::span<const uint64_t> resourceIDs) {
        dictionary.decode(resourceIDs, m_texts);
    }

    std::string_view getText(const size_t index) const { return m_texts.getStrings().getText(index); }

    ArrowColumn<int64_t> m_texts;
};

/// Sums of seconds.
struct Times {
    double m_build = 0;
    double m_again = 0;
    double m_get = 0;
    double m_buildTagged = 0;
};

/// Measures one way with empty dictionaries, once, and checks its answers.
template<class Way>
void measure(const Column& column, Times& times) {
    const size_t size = column.m_views.size();
    std::vector<uint64_t> resourceIDs(size);
    const auto resolve = [&](Dictionary& dictionary, Way& way, const std::string_view languageTag) {
        std::ranges::fill(resourceIDs, 0);
        DictionaryThread thread(dictionary);
        const double start = getProcessorSeconds();
        way.resolve(dictionary, thread, column, resourceIDs, languageTag);
        const double seconds = getProcessorSeconds() - start;
        for (size_t index = 0; index < size; ++index)
            require(resourceIDs[index] == index + 1, "a string has another ID");
        return seconds;
    };
    {
        PagePool::get().reset();
        Dictionary dictionary(
            {.m_memoryLimit = MEMORY_LIMIT,
             .m_maximumNumberOfResources = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS});
        Way way;
        times.m_build += resolve(dictionary, way, {});
        times.m_again += resolve(dictionary, way, {});
        std::ranges::shuffle(resourceIDs, std::minstd_rand(1));
        way.read(dictionary, resourceIDs); // touches the answers' pages
        const double start = getProcessorSeconds();
        way.read(dictionary, resourceIDs);
        times.m_get += getProcessorSeconds() - start;
        for (size_t index = 0; index < size; ++index)
            require(way.getText(index) == column.m_views[resourceIDs[index] - 1], "a string is read as another");
    }
    PagePool::get().reset();
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT,
                           .m_maximumNumberOfResources = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS});
    Way way;
    times.m_buildTagged += resolve(dictionary, way, LANGUAGE_TAG);
    require(dictionary.getNumberOfResources(D_RDF_PLAIN_LITERAL) == size, "a string has lost its tag");
}

void run(benchmark::State& state, const Column& column, const size_t numberOfRounds) {
    constexpr size_t NUMBER_OF_WAYS = 4;
    constexpr std::array<const char*, NUMBER_OF_WAYS> NAMES{"entries", "pieces", "views", "arrow"};
    std::array<Times, NUMBER_OF_WAYS> times;
    for (size_t round = 0; round < numberOfRounds; ++round) {
        measure<ByEntries<~size_t(0)>>(column, times[0]);
        measure<ByEntries<PIECE_SIZE>>(column, times[1]);
        measure<ByViews>(column, times[2]);
        measure<ByArrow>(column, times[3]);
    }
    for (size_t way = 0; way < NUMBER_OF_WAYS; ++way)
        for (const auto& [workload, seconds] : {std::pair("_build", &Times::m_build),
                                                {"_re", &Times::m_again},
                                                {"_get", &Times::m_get},
                                                {"_build_tagged", &Times::m_buildTagged}}) {
            const double ofWay = times[way].*seconds;
            state.counters[std::string(NAMES[way]) + workload] =
                ofWay * 1e9 / static_cast<double>(column.m_views.size() * numberOfRounds);
            if (way != 0)
                state.counters[std::string("ratio_") + NAMES[way] + workload] = ofWay / times[0].*seconds;
        }
    state.SetIterationTime(times[0].m_build);
}

} // namespace

int main(int argc, char** argv) {
    return runBenchmarkProgram(argc, argv, [](const BenchmarkOptions& options) {
        auto column = std::make_shared<Column>(makeTexts(options.m_source, options.m_numberOfTexts));
        const size_t size = column->m_views.size();
        registerBenchmark("columns/threads:1",
                          [column, numberOfRounds = (options.m_textsPerMeasurement + size - 1) / size,
                           isWarm = false](benchmark::State& state) mutable {
                              if (!isWarm)
                                  run(state, *column, 1); // touches the pages
                              isWarm = true;
                              for (auto _ : state)
                                  run(state, *column, numberOfRounds);
                          });
        return size;
    });
}

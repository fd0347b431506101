#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/stream/FileOutputStream.h"
#include "benchmarks/files/FileCopy.h"
#include "benchmarks/pages/PagePool.h"
#include "benchmarks/program/BenchmarkProgram.h"
#include "benchmarks/workloads/WorkloadData.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace melnar;

// Measures operations on whole dictionaries, on one thread. Seconds: save and copy_sync (both write the file to the
// disk); write (the bytes that save writes, without waiting for the disk), open and copy (none of these waits).
// Nanoseconds per string: miss_opened and re_opened (in batches, just after open, when no fingerprint is known; each
// starts with its own dictionary), miss_again and re_again (the same once more), verify, compact (all survive),
// compact_half (every second one survives).

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t MEMORY_LIMIT = size_t(1) << 36;
constexpr size_t BATCH_SIZE = 1024;

template<class Operation>
double measure(const Operation& operation) {
    const Clock::time_point start = Clock::now();
    operation();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void require(const bool condition, const char* const objection) {
    if (!condition)
        throw std::runtime_error(objection);
}

void resolveAll(Dictionary& dictionary, const TextList& texts) {
    DictionaryThread thread(dictionary);
    std::vector<BatchEntry> entries(BATCH_SIZE);
    std::vector<BatchFailure> failures;
    for (size_t begin = 0; begin < texts.getSize(); begin += BATCH_SIZE) {
        const size_t number = std::min(BATCH_SIZE, texts.getSize() - begin);
        for (size_t index = 0; index < number; ++index)
            entries[index] = {texts[begin + index], 0, D_XSD_STRING};
        dictionary.resolveResources(thread, {entries.data(), number}, failures);
    }
    if (!failures.empty())
        failures.front().throwException();
    dictionary.commit();
}

/// Looks up absent strings.
void lookUpAbsent(const Dictionary& dictionary, const TextList& texts) {
    std::vector<BatchEntry> entries(BATCH_SIZE);
    std::vector<BatchFailure> failures;
    for (size_t begin = 0; begin < texts.getSize(); begin += BATCH_SIZE) {
        const size_t number = std::min(BATCH_SIZE, texts.getSize() - begin);
        for (size_t index = 0; index < number; ++index)
            entries[index] = {texts[begin + index], 0, D_XSD_STRING};
        dictionary.tryResolveResources(dictionary.getCommitPoint(), {entries.data(), number}, failures);
        require(failures.empty() && std::all_of(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(number),
                                                [](const BatchEntry& entry) { return entry.m_resourceID == 0; }),
                "a string is found that is not there");
    }
}

/// Checks that the dictionary gives each string its ID.
void requireTexts(const Dictionary& dictionary, const TextList& texts) {
    ResourceValue value;
    for (size_t index = 0; index < texts.getSize(); ++index) {
        dictionary.getResource(index + 1, value);
        require(std::string_view(reinterpret_cast<const char*>(value.m_data), value.m_dataSize - 1) == texts[index],
                "a string is not what it was");
    }
}

void run(benchmark::State& state, const WorkloadData& data, const uint64_t maximumNumberOfResources,
         const std::string& fileName) {
    const TextList& texts = data.m_texts;
    const auto perText = [&](const double seconds) { return seconds * 1e9 / static_cast<double>(texts.getSize()); };
    PagePool::get().reset();
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources});
    resolveAll(*dictionary, texts);
    std::filesystem::remove(fileName);
    state.counters["save"] = measure([&] { dictionary->save(fileName); });
    // Then, as when the file is copied, the system has free pages that an earlier file has left.
    std::filesystem::remove(fileName);
    state.counters["write"] = measure([&] {
        FileOutputStream output(fileName);
        DictionaryFile::write(*dictionary, output);
        output.close();
    });
    dictionary.reset();
    PagePool::get().reset();

    state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(fileName));
    state.counters["copy_sync"] = copyFile(fileName, true);
    state.counters["copy"] = copyFile(fileName, false);
    const double openTime = measure([&] { dictionary = Dictionary::open(fileName, {.m_memoryLimit = MEMORY_LIMIT}); });
    state.counters["open"] = openTime;
    state.SetIterationTime(openTime);
    for (const char* const name : {"re_opened", "re_again"})
        state.counters[name] = perText(measure([&] { resolveAll(*dictionary, data.m_textsInOrder); }));
    requireTexts(*dictionary, texts);
    dictionary.reset();
    PagePool::get().reset();
    dictionary = Dictionary::open(fileName, {.m_memoryLimit = MEMORY_LIMIT});
    std::filesystem::remove(fileName);
    for (const char* const name : {"miss_opened", "miss_again"})
        state.counters[name] = perText(measure([&] { lookUpAbsent(*dictionary, data.m_absentTexts); }));

    state.counters["verify"] = perText(measure([&] { dictionary->verify(); }));
    state.counters["compact"] = perText(measure([&] { dictionary->compact(); }));
    requireTexts(*dictionary, texts);
    std::vector<uint64_t> newIDs;
    state.counters["compact_half"] = perText(measure(
        [&] { newIDs = dictionary->compact([](const uint64_t id, const ResourceValue&) { return id % 2 == 0; }); }));
    require(dictionary->getNumberOfResources(D_XSD_STRING) == texts.getSize() / 2, "not every second string is left");
    dictionary->verify();
}

} // namespace

int main(int argc, char** argv) {
    std::unique_ptr<WorkloadData> data;
    return runBenchmarkProgram(argc, argv, [&](BenchmarkOptions options) {
        options.m_workloads = {"re", "miss"};
        data = std::make_unique<WorkloadData>(options);
        std::filesystem::create_directories(options.m_folder);
        const std::string fileName = (std::filesystem::path(options.m_folder) / "benchmark.dict").string();
        for (const bool isNarrow : {false, true}) {
            const uint64_t maximum = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS + (isNarrow ? 0 : 1);
            registerBenchmark(isNarrow ? "melnar-32" : "melnar-64", [&data = *data, maximum, fileName,
                                                                     isWarm = false](benchmark::State& state) mutable {
                if (!isWarm) { // touches the pages
                    PagePool::get().reset();
                    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximum});
                    resolveAll(dictionary, data.m_texts);
                }
                isWarm = true;
                for (auto _ : state)
                    run(state, data, maximum, fileName);
            });
        }
        return data->m_texts.getSize();
    });
}

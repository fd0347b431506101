// sizing NUMBER...: measures the memory of dictionaries with so many strings, and how small their limit may be; without
// a number, what the limit does not count. docs/guides/sizing.md explains the figures.

#include "Melnar.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <malloc.h>

namespace {

/// Adds strings of 16 bytes that all differ, a thousand together.
template<class AnyDictionary, class Thread>
void add(AnyDictionary& dictionary, Thread& thread, const uint64_t numberOfStrings) {
    for (uint64_t begin = 0; begin < numberOfStrings; begin += 1000) {
        std::vector<std::string> texts(std::min<uint64_t>(1000, numberOfStrings - begin));
        for (size_t index = 0; index < texts.size(); ++index)
            texts[index] = std::to_string(1'000'000'000'000'000 + begin + index);
        const std::vector<std::string_view> column(texts.begin(), texts.end());
        std::vector<uint64_t> resourceIDs(column.size());
        dictionary.encode(thread, column, resourceIDs);
    }
}

/// Returns the memory that a dictionary takes for so many strings, or 0 if it refuses some.
template<class AnyDictionary, class Thread>
size_t getMemory(const uint64_t numberOfStrings, const DictionaryOptions& options) {
    try {
        AnyDictionary dictionary(options);
        Thread thread(dictionary);
        add(dictionary, thread, numberOfStrings);
        return dictionary.getMemoryInUse();
    } catch (const MelnarException&) {
        return 0;
    }
}

void print(const size_t bytes, const uint64_t numberOfStrings) {
    const double bytesPerString = static_cast<double>(bytes) / static_cast<double>(numberOfStrings);
    std::cout << std::setw(12) << bytes << std::setw(8) << bytesPerString - 16;
}

/// Prints what a dictionary takes, and the smallest limit that lets it come so far, to 1 %.
void printMemory(const uint64_t numberOfStrings, DictionaryOptions options) {
    size_t enough = 2 * getMemory<Dictionary, DictionaryThread>(numberOfStrings, options);
    size_t tooLittle = enough / 8;
    print(enough / 2, numberOfStrings);
    while (enough - tooLittle > enough / 100) {
        options.m_memoryLimit = (enough + tooLittle) / 2;
        const bool isEnough = getMemory<Dictionary, DictionaryThread>(numberOfStrings, options) != 0;
        (isEnough ? enough : tooLittle) = options.m_memoryLimit;
    }
    print(enough, numberOfStrings);
}

void measureHeap() {
    const auto getBytes = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    auto printGrowth = [getBytes, last = getBytes()](const char* const reason) mutable {
        std::cout << std::setw(6) << (getBytes() - last) / 1024 << " KiB  " << reason << '\n';
        last = getBytes();
    };
    const auto dictionary = std::make_unique<Dictionary>(DictionaryOptions());
    printGrowth("a dictionary");
    DictionaryThread thread(*dictionary);
    dictionary->resolveResource(thread, "urn:example", D_IRI);
    printGrowth("the first term of a family");
    const auto shards = std::make_unique<ShardedDictionary>(DictionaryOptions());
    ShardedDictionaryThread shardedThread(*shards);
    add(*shards, shardedThread, 10'000);
    printGrowth("a sharded dictionary with strings in all shards");
}

} // namespace

int main(const int numberOfArguments, char** const arguments) {
    const std::vector<std::string> numbers(arguments + 1, arguments + numberOfArguments);
    if (numbers.empty()) {
        measureHeap();
        return 0;
    }
    std::cout << "   strings  4-byte use    each       limit    each  8-byte use    each       limit    each"
                 "  256 shards    each\n";
    constexpr uint64_t NARROW = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS; // so a bucket has 4 bytes
    for (const std::string& number : numbers) {
        const uint64_t numberOfStrings = std::stoull(number);
        std::cout << std::setw(10) << numberOfStrings << std::fixed << std::setprecision(1);
        printMemory(numberOfStrings, {.m_maximumNumberOfResources = NARROW});
        printMemory(numberOfStrings, {.m_maximumNumberOfResources = NARROW + 1});
        print(getMemory<ShardedDictionary, ShardedDictionaryThread>(numberOfStrings, {}), numberOfStrings);
        std::cout << '\n';
    }
}

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES = 1000000;
constexpr size_t PIECES = 120;
constexpr size_t TERMS_OF_A_PIECE = 300;

/// The entries of a piece of work; half of them are in the piece before, too.
std::vector<BatchEntry> makePiece(const size_t piece, std::vector<std::string>& forms) {
    forms.clear();
    for (size_t number = 0; number < TERMS_OF_A_PIECE; ++number)
        forms.push_back("http://example.org/" + std::to_string(piece * TERMS_OF_A_PIECE / 2 + number));
    std::vector<BatchEntry> entries;
    for (size_t number = 0; number < TERMS_OF_A_PIECE; ++number)
        entries.push_back({forms[number], 0, number % 3 == 0 ? D_XSD_STRING : D_IRI});
    return entries;
}

std::string saveToText(const Dictionary& dictionary) {
    MemoryOutputStream output;
    DictionaryFile::write(dictionary, output);
    return output.getBytes();
}

/// Creates the terms of all pieces in their order: this many threads have one piece after the other, each by turns.
std::string createByTurns(const size_t numberOfThreads, const size_t numberOfReaders) {
    Dictionary dictionary(MEMORY_LIMIT, MAXIMUM_NUMBER_OF_RESOURCES);
    std::string text;
    {
        DictionaryThread creator(dictionary);
        std::mutex mutex;
        size_t nextPiece = 0;
        std::atomic<bool> isDone = false;
        std::vector<std::thread> creators;
        std::vector<std::thread> readers;
        for (size_t number = 0; number < numberOfReaders; ++number)
            readers.emplace_back([&, number] {
                const DictionaryThread own(dictionary);
                std::vector<std::string> forms;
                std::vector<BatchFailure> failures;
                for (size_t piece = number; !isDone; piece = (piece + 1) % PIECES) {
                    std::vector<BatchEntry> entries = makePiece(piece, forms);
                    dictionary.tryResolveResources({~uint64_t(0)}, entries, failures);
                }
                EXPECT_TRUE(failures.empty());
            });
        for (size_t number = 0; number < numberOfThreads; ++number)
            creators.emplace_back([&] {
                const DictionaryThread own(dictionary);
                std::vector<std::string> forms;
                std::vector<BatchFailure> failures;
                for (;;) {
                    const std::lock_guard lock(mutex);
                    if (nextPiece == PIECES)
                        return;
                    std::vector<BatchEntry> entries = makePiece(nextPiece++, forms);
                    const DictionaryThread::Loan loan(creator);
                    dictionary.resolveResources(creator, entries, failures);
                    EXPECT_TRUE(failures.empty());
                }
            });
        for (std::thread& thread : creators)
            thread.join();
        isDone = true;
        for (std::thread& thread : readers)
            thread.join();
    }
    dictionary.commit();
    return saveToText(dictionary);
}

// The tables grow several times meanwhile: a reader that helped would move entries in an order of its own.
TEST(DictionaryLoanConcurrentTest, threadsThatCreateByTurnsGiveTheBytesOfOneThread) {
    const std::string expected = createByTurns(1, 0);
    EXPECT_LT(PIECES * TERMS_OF_A_PIECE / 2 * 20, expected.size()) << "something was created";
    for (const size_t numberOfThreads : {2u, 7u})
        for (const size_t numberOfReaders : {0u, 2u, 5u})
            EXPECT_TRUE(expected == createByTurns(numberOfThreads, numberOfReaders))
                << numberOfThreads << " creating threads, " << numberOfReaders << " reading";
}

} // namespace

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES = 1000000;
constexpr size_t PIECES = 120;
constexpr size_t TERMS_OF_A_PIECE = 300;

/// Makes the entries of a piece of work; half of them are also in the previous piece.
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

/// Creates the terms of all pieces in order, with a DictionaryThread that is not lent.
std::string createOnOneThread() {
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM_NUMBER_OF_RESOURCES});
    {
        DictionaryThread creator(dictionary);
        std::vector<std::string> forms;
        std::vector<BatchFailure> failures;
        for (size_t piece = 0; piece < PIECES; ++piece) {
            std::vector<BatchEntry> entries = makePiece(piece, forms);
            dictionary.resolveResources(creator, entries, failures);
        }
        EXPECT_TRUE(failures.empty());
    }
    dictionary.commit();
    return saveToText(dictionary);
}

/// Does the same with threads that take turns, one piece each, while others read.
std::string createByTurns(const size_t numberOfThreads, const size_t numberOfReaders) {
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = MAXIMUM_NUMBER_OF_RESOURCES});
    {
        DictionaryThread creator(dictionary);
        std::mutex mutex;
        size_t nextPiece = 0;
        std::latch readersAtWork(static_cast<ptrdiff_t>(numberOfReaders));
        std::atomic<bool> isDone = false;
        std::atomic<size_t> rounds = 0; // of reads while terms are created
        std::vector<std::thread> creators;
        std::vector<std::thread> readers;
        for (size_t number = 0; number < numberOfReaders; ++number)
            readers.emplace_back([&, number] {
                const DictionaryThread own(dictionary);
                std::vector<std::string> forms;
                std::vector<BatchFailure> failures;
                const auto read = [&](const size_t piece) {
                    std::vector<BatchEntry> entries = makePiece(piece % PIECES, forms);
                    dictionary.tryResolveResources(DictionaryCommitPoint::ALL, entries, failures);
                };
                read(number);
                readersAtWork.count_down();
                for (size_t piece = number + 1; !isDone; ++piece, ++rounds)
                    read(piece);
                EXPECT_TRUE(failures.empty());
            });
        readersAtWork.wait();
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
        const size_t roundsMeanwhile = rounds;
        isDone = true;
        for (std::thread& thread : readers)
            thread.join();
        EXPECT_EQ(numberOfReaders > 0, roundsMeanwhile > 0) << "no thread read while terms were created";
    }
    dictionary.commit();
    return saveToText(dictionary);
}

// The tables grow several times: a reader that helped would move entries in a different order.
TEST(DictionaryLoanConcurrentTest, threadsThatCreateByTurnsGiveTheBytesOfOneThread) {
    const std::string expected = createOnOneThread();
    EXPECT_LT(PIECES * TERMS_OF_A_PIECE / 2 * 20, expected.size()) << "something was created";
    for (const size_t numberOfThreads : {1u, 2u, 7u})
        for (const size_t numberOfReaders : {0u, 2u, 5u})
            EXPECT_TRUE(expected == createByTurns(numberOfThreads, numberOfReaders))
                << numberOfThreads << " creating threads, " << numberOfReaders << " reading";
}

} // namespace

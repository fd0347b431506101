#include "tests/Reader/ReadInBlocks.h"
#include "tests/Reader/Recorder.h"
#include "tests/Reader/TextsToCut.h"
#include "tests/Reader/W3cManifest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace Rdf;

class TurtleRelayStressTest : public testing::Test {
protected:
    ReadResult readWithThreads(const std::vector<TurtleRelay::Block>& blocks, size_t numberOfThreads,
                               const ReaderOptions& options);

    size_t m_numberOfSharedTexts = 0; // whose blocks several threads have read
};

/// Reads the blocks of a text with several threads, each of which takes the next block when it is ready.
ReadResult TurtleRelayStressTest::readWithThreads(const std::vector<TurtleRelay::Block>& blocks,
                                                  const size_t numberOfThreads, const ReaderOptions& options) {
    std::vector<ReadResult> results(blocks.size() + 1);
    TurtleRelay relay(options);
    std::atomic<size_t> next = 0;
    std::atomic<size_t> numberOfReaders = 0;
    std::barrier start(static_cast<std::ptrdiff_t>(numberOfThreads));
    std::vector<std::thread> threads;
    const auto readSome = [&](const bool isLast) {
        TurtleRelay::Runner* current = nullptr;
        Recorder recorder([&current](const Term& term) { return current->locate(term); });
        TurtleRelay::Runner runner(relay, recorder);
        current = &runner;
        size_t index = next++; // before any thread reads, so that a fast one does not read all
        if (!isLast)
            start.arrive_and_wait();
        bool hasRead = false;
        for (; index < blocks.size(); index = next++) {
            if (!std::exchange(hasRead, true))
                ++numberOfReaders;
            recorder.withdraw();
            runner.read(blocks[index]);
            results[index] = recorder.m_result;
        }
        if (!isLast)
            return;
        recorder.withdraw();
        runner.finishText();
        results.back() = recorder.m_result;
    };
    for (size_t index = 0; index < numberOfThreads; ++index)
        threads.emplace_back(readSome, false);
    for (std::thread& thread : threads)
        thread.join();
    if (numberOfReaders > 1)
        ++m_numberOfSharedTexts;
    readSome(true);
    ReadResult all;
    for (const ReadResult& result : results)
        all += result;
    return all;
}

TEST_F(TurtleRelayStressTest, threadsFindWhatOneReaderFinds) {
    std::string text = "@prefix : <u:> .\n";
    for (int number = 0; number < 4000; ++number) {
        const std::string literal = "'number " + std::to_string(number) + "'";
        text += ":s :p " + literal + " ;\n :q [ :r 1.5 ] .\n";
        if (number % 300 == 299)
            text += "@prefix : <u:" + std::to_string(number) + "> .\n";
        if (number % 500 == 250)
            text += ":g {\n";
        if (number % 500 == 400)
            text += "}\n";
        if (number % 70 == 69)
            text += ":s :p '''a .\n:s :p 'b' .\n''' .\n:a :b .\n";
    }
    for (const Syntax syntax : {Syntax::TURTLE, Syntax::TRIG})
        for (const bool isLenient : {false, true}) {
            ReaderOptions options = strict(syntax);
            options.m_isLenient = isLenient;
            const ReadResult whole = readText(text, options);
            for (const size_t numberOfThreads : {size_t(2), size_t(5)})
                for (const size_t size : {size_t(60), size_t(1000), size_t(20'000)})
                    ASSERT_EQ(whole, readWithThreads(cutText(text, size, syntax), numberOfThreads, options));
        }
    EXPECT_GT(m_numberOfSharedTexts, 0u);
}

TEST_F(TurtleRelayStressTest, threadsFindWhatOneReaderFindsWhereverTheTextIsCut) {
    for (const Syntax syntax : {Syntax::TURTLE, Syntax::TRIG})
        for (const std::string& text : syntax == Syntax::TURTLE ? TURTLE_TEXTS : TRIG_TEXTS)
            for (const bool isLenient : {false, true}) {
                ReaderOptions options = strict(syntax);
                options.m_isLenient = isLenient;
                const ReadResult whole = readText(text, options);
                for (size_t first = 0; first <= text.size(); first += 3)
                    for (size_t second = first; second <= text.size(); second += 10)
                        ASSERT_EQ(whole, readWithThreads(cutText(text, {first, second, second}), 2, options))
                            << text << first << ' ' << second;
            }
    EXPECT_GT(m_numberOfSharedTexts, 0u);
}

TEST_F(TurtleRelayStressTest, threadsFindInTheW3cTestsWhatOneReaderFinds) {
    const char* const data = std::getenv("MELNAR_DATA");
    if (data == nullptr)
        GTEST_SKIP() << "MELNAR_DATA names no folder";
    const auto files = findTurtleFiles(data);
    for (const auto& [path, syntax] : files) {
        const std::string text = readWholeFile(path);
        const ReaderOptions options = strict(syntax);
        const size_t size = 30 + text.size() / 20;
        ASSERT_EQ(readText(text, options), readWithThreads(cutText(text, size, options.m_syntax), 3, options)) << path;
    }
    EXPECT_GT(files.size(), 800u);
    EXPECT_GT(m_numberOfSharedTexts, 0u);
}

} // namespace

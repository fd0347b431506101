#include "tests/Reader/ReadInBlocks.h"
#include "tests/Reader/Recorder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Rdf;

/// Reads a text with several threads, which take its blocks as they come to them.
ReadResult readWithThreads(const std::string& text, const size_t size, const size_t numberOfThreads,
                           const ReaderOptions& options) {
    const std::vector<TurtleRelay::Block> blocks = cutText(text, size, options.m_syntax);
    std::vector<ReadResult> results(blocks.size() + 1);
    TurtleRelay relay(options);
    std::atomic<size_t> next = 0;
    std::vector<std::thread> threads;
    const auto readSome = [&](const bool isLast) {
        TurtleRelay::Runner* current = nullptr;
        Recorder recorder([&current](const Term& term) { return current->locate(term); });
        TurtleRelay::Runner runner(relay, recorder);
        current = &runner;
        for (size_t index = next++; index < blocks.size(); index = next++) {
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
    readSome(true);
    ReadResult all;
    for (const ReadResult& result : results)
        all += result;
    return all;
}

TEST(TurtleRelayStressTest, threadsFindWhatOneReaderFinds) {
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
                    ASSERT_EQ(whole, readWithThreads(text, size, numberOfThreads, options));
        }
}

} // namespace

#include "tools/melnar-dict/input/ThreadedSource.h"

#include "tests/support/CaughtException.h"
#include "tests/tools/melnar-dict/input/SourceText.h"
#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tools/melnar-dict/input/FileSource.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <initializer_list>
#include <new>
#include <thread>

#include <unistd.h>

namespace {

/// Endless bytes, each call of which is counted.
class CountedSource final : public ByteSource {
public:
    explicit CountedSource(std::atomic<size_t>& numberOfReads) : m_numberOfReads(numberOfReads) {}

    size_t read(char* const buffer, const size_t size) override {
        std::fill_n(buffer, size, 'x');
        m_numberOfReads.fetch_add(1, std::memory_order_relaxed);
        return size;
    }

private:
    std::atomic<size_t>& m_numberOfReads;
};

class OutOfMemorySource final : public ByteSource {
public:
    size_t read(char*, size_t) override { throw std::bad_alloc(); }
};

TEST(ThreadedSourceConcurrentTest, deliversTheSameBytesWhateverTheSizes) {
    const std::string text = makeNumbers(500);
    for (const size_t bufferSize : std::initializer_list<size_t>{1, 7, 1000, 100000})
        for (const size_t bytesAtOnce : std::initializer_list<size_t>{1, 6, 100, 100000}) {
            ThreadedSource source(std::make_unique<TextSource>(text, 50), {}, bufferSize);
            EXPECT_EQ(text, readAll(source, bytesAtOnce));
        }
}

TEST(ThreadedSourceConcurrentTest, deliversNothingOfAnEmptySource) {
    ThreadedSource source(std::make_unique<TextSource>(""));
    EXPECT_EQ("", readAll(source));
}

TEST(ThreadedSourceConcurrentTest, reportsAFailureAfterAllBytesBeforeIt) {
    const std::string text = makeNumbers(500);
    for (const size_t bufferSize : std::initializer_list<size_t>{1, 100, 100000}) {
        ThreadedSource source(std::make_unique<TextSource>(text, 1000, "no more"), {}, bufferSize);
        std::string delivered;
        EXPECT_STREQ("no more", catchException<ToolFailure>([&] { readInto(delivered, source, 77); }).what());
        EXPECT_EQ(text, delivered);
        EXPECT_STREQ("no more", catchException<ToolFailure>([&] { readInto(delivered, source, 77); }).what());
    }
}

TEST(ThreadedSourceConcurrentTest, passesOnThatThereIsNoMemory) {
    ThreadedSource source(std::make_unique<OutOfMemorySource>());
    char byte;
    EXPECT_THROW(source.read(&byte, 1), std::bad_alloc);
}

TEST(ThreadedSourceConcurrentTest, readsAheadNoFurtherThanItsBuffers) {
    std::atomic<size_t> numberOfReads = 0;
    ThreadedSource source(std::make_unique<CountedSource>(numberOfReads), {}, 10);
    std::string buffer(10, '\0');
    for (size_t taken = 0; taken < 100; ++taken) {
        // Slow, so that the thread advances as far as it can.
        while (numberOfReads.load(std::memory_order_relaxed) < taken + ThreadedSource::NUMBER_OF_BUFFERS)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        EXPECT_EQ(taken + ThreadedSource::NUMBER_OF_BUFFERS, numberOfReads.load(std::memory_order_relaxed));
        ASSERT_EQ(10u, source.read(buffer.data(), buffer.size()));
    }
}

TEST(ThreadedSourceConcurrentTest, endsWhereverItsReaderStops) {
    for (size_t numberOfBytes = 0; numberOfBytes < 200; ++numberOfBytes) {
        std::atomic<size_t> numberOfReads = 0;
        ThreadedSource source(std::make_unique<CountedSource>(numberOfReads), {}, 16);
        std::string buffer(1, '\0');
        for (size_t number = 0; number < numberOfBytes; ++number)
            ASSERT_EQ(1u, source.read(buffer.data(), 1));
    }
}

TEST(ThreadedSourceConcurrentTest, canBeReadByOneThreadAfterTheOther) {
    const std::string text = makeNumbers(3000);
    ThreadedSource source(std::make_unique<TextSource>(text, 100), {}, 100);
    std::string delivered;
    std::mutex mutex;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([&] {
            std::string buffer(70, '\0');
            for (;;) {
                const std::lock_guard guard(mutex);
                const size_t numberOfBytes = source.read(buffer.data(), buffer.size());
                if (numberOfBytes == 0)
                    return;
                delivered.append(buffer, 0, numberOfBytes);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(text, delivered);
}

TEST(ThreadedSourceConcurrentTest, endsWhileItsThreadWaitsForBytesOfAPipe) {
    int pipeEnds[2];
    ASSERT_EQ(0, ::pipe(pipeEnds));
    const std::string path = "/dev/fd/" + std::to_string(pipeEnds[0]);
    {
        std::stop_source stop;
        auto file = std::make_unique<FileSource>(path, stop.get_token());
        ThreadedSource source(std::move(file), std::move(stop));
        ASSERT_EQ(4, ::write(pipeEnds[1], "text", 4));
        std::string buffer(10, '\0');
        ASSERT_EQ(4u, source.read(buffer.data(), buffer.size()));
    } // would wait forever, since the other end stays open
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
}

} // namespace

#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

/// Reads another source ahead in a thread of its own, as far as a few buffers allow.
///
/// Ownership  The thread ends before the object does. If it reads a FileSource with the token of `stop`, it does not
///            wait for bytes that do not arrive.
/// Threads    One at a time, except its own thread.
/// Errors     Those of the other source, after all bytes before them. std::system_error if the system refuses a thread.
class ThreadedSource final : public ByteSource {
public:
    static constexpr size_t NUMBER_OF_BUFFERS = 4;
    static constexpr size_t DEFAULT_BUFFER_SIZE = 256 * 1024;

    explicit ThreadedSource(std::unique_ptr<ByteSource> source, std::stop_source stop = {},
                            size_t bufferSize = DEFAULT_BUFFER_SIZE);
    ~ThreadedSource() override;

    size_t read(char* buffer, size_t size) override;

private:
    struct Buffer {
        std::unique_ptr<char[]> m_bytes;
        size_t m_end = 0; // of those that have been read
    };

    void fillBuffers();
    bool fillNext();

    Buffer& getBuffer(const uint64_t number) noexcept { return m_buffers[number % NUMBER_OF_BUFFERS]; }

    const std::unique_ptr<ByteSource> m_source; // of the thread
    const size_t m_bufferSize;
    std::stop_source m_stop;
    std::array<Buffer, NUMBER_OF_BUFFERS> m_buffers; // each of the thread until filled, then of the reader until taken
    size_t m_delivered = 0;                          // bytes of the buffer that the reader takes
    std::mutex m_mutex;                              // protects everything below, except the thread
    std::condition_variable m_filledOrEnded;
    std::condition_variable m_takenOrClosed;
    uint64_t m_numberOfFilled = 0; // buffers, counted since the start
    uint64_t m_numberOfTaken = 0;
    bool m_hasEnded = false;
    bool m_isClosed = false;
    std::exception_ptr m_failure;
    std::thread m_thread;
};

#include "tools/melnar-dict/input/ThreadedSource.h"

#include <algorithm>
#include <cstring>
#include <utility>

ThreadedSource::ThreadedSource(std::unique_ptr<ByteSource> source, std::stop_source stop, const size_t bufferSize)
    : m_source(std::move(source)), m_bufferSize(bufferSize), m_stop(std::move(stop)) {
    for (Buffer& buffer : m_buffers)
        buffer.m_bytes = std::make_unique_for_overwrite<char[]>(bufferSize);
    m_thread = std::thread([this] { fillBuffers(); });
}

ThreadedSource::~ThreadedSource() {
    m_stop.request_stop();
    {
        const std::lock_guard guard(m_mutex);
        m_isClosed = true;
    }
    m_takenOrClosed.notify_one();
    m_thread.join();
}

size_t ThreadedSource::read(char* const buffer, const size_t size) {
    std::unique_lock lock(m_mutex);
    m_filledOrEnded.wait(lock, [this] { return m_numberOfTaken != m_numberOfFilled || m_hasEnded; });
    if (m_numberOfTaken == m_numberOfFilled) {
        if (m_failure)
            std::rethrow_exception(m_failure);
        return 0;
    }
    lock.unlock();
    const Buffer& filled = getBuffer(m_numberOfTaken); // Only this thread changes the number.
    const size_t numberOfBytes = std::min(size, filled.m_end - m_delivered);
    std::memcpy(buffer, filled.m_bytes.get() + m_delivered, numberOfBytes);
    m_delivered += numberOfBytes;
    if (m_delivered == filled.m_end) {
        m_delivered = 0;
        lock.lock();
        ++m_numberOfTaken;
        lock.unlock();
        m_takenOrClosed.notify_one();
    }
    return numberOfBytes;
}

/// The work of the thread.
void ThreadedSource::fillBuffers() {
    std::exception_ptr failure;
    try {
        while (fillNext()) {
        }
    } catch (...) {
        failure = std::current_exception();
    }
    {
        const std::lock_guard guard(m_mutex);
        m_failure = std::move(failure); // keeps no reference in this thread
        m_hasEnded = true;
    }
    m_filledOrEnded.notify_one();
}

/// Returns false at the end, or if no more bytes are needed.
bool ThreadedSource::fillNext() {
    std::unique_lock lock(m_mutex);
    m_takenOrClosed.wait(lock, [this] { return m_numberOfFilled - m_numberOfTaken < NUMBER_OF_BUFFERS || m_isClosed; });
    if (m_isClosed)
        return false;
    lock.unlock();
    Buffer& buffer = getBuffer(m_numberOfFilled); // Only this thread changes the number.
    buffer.m_end = m_source->read(buffer.m_bytes.get(), m_bufferSize);
    if (buffer.m_end == 0)
        return false;
    lock.lock();
    ++m_numberOfFilled;
    lock.unlock();
    m_filledOrEnded.notify_one();
    return true;
}

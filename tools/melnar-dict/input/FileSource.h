#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <atomic>
#include <cstdint>
#include <stop_token>
#include <string>

/// The bytes of a file as they stand on disk, or of standard input for the name "-".
///
/// Ownership  Closes what it opened; standard input stays open.
/// Threads    When another thread requests a stop, a read that waits for bytes ends with an error, after 100 ms at the
///            latest.
class FileSource final : public ByteSource {
public:
    /// Adds what it reads to a counter, if there is one, which must outlive it.
    explicit FileSource(const std::string& fileName, std::stop_token stop = {},
                        std::atomic<uint64_t>* bytesRead = nullptr);
    ~FileSource() override;

    size_t read(char* buffer, size_t size) override;

    /// Goes on reading at a place of the file, which must be a regular one.
    void seek(uint64_t offset);

private:
    void waitForBytes() const;

    const std::stop_token m_stop;
    int m_fileDescriptor;
    std::atomic<uint64_t>* const m_bytesRead;
};

#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <atomic>
#include <cstdint>
#include <stop_token>
#include <string>

/// The bytes of a file as on the disk, or of standard input for the name "-".
///
/// Ownership  Closes what it opened; standard input stays open.
/// Threads    If another thread requests a stop, a read that waits for bytes fails after at most 100 ms.
class FileSource final : public ByteSource {
public:
    /// Adds the number of bytes that it reads to a counter, if there is one, which must outlive it.
    explicit FileSource(const std::string& fileName, std::stop_token stop = {},
                        std::atomic<uint64_t>* bytesRead = nullptr);
    ~FileSource() override;

    size_t read(char* buffer, size_t size) override;

    /// Continues reading at a position of the file, which must be a regular one.
    void seek(uint64_t offset);

private:
    void waitForBytes() const;

    const std::stop_token m_stop;
    int m_fileDescriptor;
    std::atomic<uint64_t>* const m_bytesRead;
};

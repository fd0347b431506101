#pragma once

#include "tools/melnar-dict/input/ByteSource.h"

#include <string>

/// The bytes of a file as they stand on disk, or of standard input for the name "-".
///
/// Ownership  Closes what it opened; standard input stays open.
class FileSource final : public ByteSource {
public:
    explicit FileSource(const std::string& fileName);
    ~FileSource() override;

    size_t read(char* buffer, size_t size) override;

private:
    int m_fileDescriptor;
};

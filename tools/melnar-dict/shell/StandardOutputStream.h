#pragma once

#include "tools/melnar-dict/shell/StandardOutput.h"

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <string>

/// Writes to the tool's standard output like to a file.
///
/// Ownership  Refers to the output.
class StandardOutputStream final : public OutputStream, private Unmovable {
public:
    explicit StandardOutputStream(StandardOutput& output) : m_output(output) {}

    const std::string& getName() const override { return m_name; }
    void write(const void* const data, const size_t numberOfBytes) override {
        m_output.write({static_cast<const char*>(data), numberOfBytes});
    }
    void flush() override { m_output.flush(); }

private:
    const std::string m_name = "standard output";
    StandardOutput& m_output;
};

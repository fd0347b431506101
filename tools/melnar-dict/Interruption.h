#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <string>

/// Makes SIGINT and SIGTERM end the process with exit code 130 or 143, as a shell reports them, after removing the
/// temporary file of whatever is being written at that moment. Called once, before threads start.
void exitCleanlyWhenInterrupted();

/// While it lives, an interruption removes the given temporary file. One at a time.
class TemporaryFileWhenInterrupted : private Unmovable {
public:
    /// A name that is too long to be a file's is left alone.
    explicit TemporaryFileWhenInterrupted(const std::string& temporaryFileName);
    ~TemporaryFileWhenInterrupted();
};

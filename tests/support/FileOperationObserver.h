#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>

/// Observes every successful operation on files, in order, while it exists; tests/support/SystemCallFaults.cpp calls
/// it.
///
/// Threads  Made and destroyed while no other thread makes such calls. Called by every thread that makes one: an
///          observer of one thread must recognise it.
/// Limits   At most one at a time.
class FileOperationObserver : private Unmovable {
public:
    FileOperationObserver();
    virtual ~FileOperationObserver();

    virtual void opened(const char* fileName, int flags, int fileDescriptor) = 0;
    virtual void written(int fileDescriptor, const void* data, size_t numberOfBytes) = 0;
    virtual void synchronized(int fileDescriptor) = 0;
    virtual void renamed(const char* oldName, const char* newName) = 0;
    virtual void unlinked(const char* fileName) = 0;
};

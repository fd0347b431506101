#pragma once

#include <cstdint>

/// The two structures of Arrow's C data interface, which Arrow defines: the type of a column, and its data. A receiver
/// of a capsule with one only reads it; the capsule releases it.

// NOLINTBEGIN(readability-identifier-naming): the names are Arrow's

struct ArrowSchema {
    const char* format;
    const char* name;
    const char* metadata;
    int64_t flags;
    int64_t n_children;
    ArrowSchema** children;
    ArrowSchema* dictionary;
    void (*release)(ArrowSchema*);
    void* private_data;
};

struct ArrowArray {
    int64_t length;
    int64_t null_count;
    int64_t offset;
    int64_t n_buffers;
    int64_t n_children;
    const void** buffers;
    ArrowArray** children;
    ArrowArray* dictionary;
    void (*release)(ArrowArray*);
    void* private_data;
};

// NOLINTEND(readability-identifier-naming)

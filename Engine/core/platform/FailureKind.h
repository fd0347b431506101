#pragma once

#include <cstdint>

/// The kind of an exception or of a failure in a batch, for callers that handle kinds differently. The numbers are
/// fixed.
enum class FailureKind : uint8_t {
    /// None of the others.
    OTHER = 0,

    /// The datatype does not allow the literal, or there is no such datatype, or the literal is too long.
    REFUSED_LITERAL = 1,

    /// There is no resource with this ID, or none of the requested kind.
    NO_SUCH_RESOURCE = 2,

    /// A limit other than the memory limit is reached: of resources, of collisions, or of a dictionary that cannot
    /// grow.
    FULL = 3,

    /// The memory limit is reached.
    MEMORY = 4,

    /// A system call has failed, or the system has no memory.
    SYSTEM = 5,

    /// A file is damaged, has other contents than expected, or is of a later version.
    DAMAGED_FILE = 6,

    /// Another writer holds the file's lock.
    IN_USE = 7,

    /// The caller has broken a contract.
    MISUSE = 8,
};

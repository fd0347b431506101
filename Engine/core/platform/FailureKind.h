#pragma once

#include <cstdint>

/// What kind of failure an exception or a failure of a batch reports, for callers that handle kinds differently. The
/// numbers are fixed.
enum class FailureKind : uint8_t {
    OTHER = 0,

    /// The literal is none of its datatype, or longer than any, or there is no such datatype.
    REFUSED_LITERAL = 1,

    /// The ID stands for no resource, or for none of the kind that is asked for.
    NO_SUCH_RESOURCE = 2,

    /// A limit other than that of memory is reached: of resources, of collisions, or of a dictionary that cannot grow.
    FULL = 3,

    /// The memory limit is reached.
    MEMORY = 4,

    /// The system refuses: a call has failed, or it has no memory.
    SYSTEM = 5,

    /// A file is not what it should be, or of a later version.
    DAMAGED_FILE = 6,

    /// Another writer has the file.
    IN_USE = 7,

    /// The caller has broken a contract.
    MISUSE = 8,
};

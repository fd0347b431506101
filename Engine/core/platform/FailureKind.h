#pragma once

#include <cstdint>

/// What kind of failure an exception or a failure of a batch reports: for callers that go on differently. Numbers stay.
enum class FailureKind : uint8_t {
    OTHER = 0,
    REFUSED_LITERAL = 1,  // none of its datatype, or longer than any, or there is no such datatype: whatever the dictionary
    NO_SUCH_RESOURCE = 2, // the ID stands for none
    FULL = 3,             // a limit other than memory is reached: of resources, of collisions, or of a file that is only read
    MEMORY = 4,           // the memory limit is reached
    SYSTEM = 5,           // the system refuses: a call failed, or it has no memory
    DAMAGED_FILE = 6,     // a file is not what it should be, or of a later version
    IN_USE = 7,           // a file is being written by another
    MISUSE = 8,           // the caller has broken a contract
};

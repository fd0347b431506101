#pragma once

#include "benchmarks/data/TextList.h"

#include <cstddef>
#include <cstdint>

enum class TextKind {
    SHORT, // 5 to 29 bytes, all lengths equally frequent, 17 on average
    MIXED, // 4 to 200 bytes, longer ones less frequent, 36 on average
};

/// Makes the strings with the numbers `first` to `first + number - 1` of a sequence that is the same on every machine.
///
/// All strings of a sequence differ: each ends with its own number, scrambled. Numbers are below 2^30.
TextList generateTexts(TextKind kind, uint64_t first, size_t number);

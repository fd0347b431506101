#pragma once

#include "tools/melnar-dict/load/SpillPrefix.h"

#include "Engine/core/data-store/Checksum.h"

#include <string_view>

/// Returns what a checkpoint records of a spilled file that has these bytes.
inline SpillPrefix getPrefix(const std::string_view bytes) {
    melnar::Checksum checksum;
    checksum.update(bytes.data(), bytes.size());
    return {bytes.size(), checksum.getValue()};
}

#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Returns how many bytes the container of this process may use: the smallest limit of its own memory cgroup and those
/// above it, in version 1 or 2 at their usual mount points. Returns nothing if there is none. The file system is read
/// from a root, for tests.
std::optional<uint64_t> readContainerLimit(const std::string& root = "");

#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Returns how many bytes the container that this process runs in may use: the least limit of its own memory cgroup and
/// those around it, in version 1 or 2 where they are usually mounted. Nothing if there is none. The file system is read
/// from a root, for tests.
std::optional<uint64_t> readContainerLimit(const std::string& root = "");

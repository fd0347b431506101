#include "tools/melnar-dict/shell/ContainerLimit.h"

#include "tools/melnar-dict/shell/NumberText.h"

#include <algorithm>
#include <fstream>
#include <string_view>

namespace {

/// Lowers the limit to the number in a file, if there is one. "max" means no limit; version 1 uses a number larger than
/// any memory for that.
void applyFile(const std::string& fileName, std::optional<uint64_t>& limit) {
    std::string line;
    std::ifstream file(fileName);
    if (!std::getline(file, line))
        return;
    if (const std::optional<uint64_t> number = parseNumber(line))
        limit = std::min(limit.value_or(*number), *number);
}

/// Applies the limits of a group and of all groups above it. A container may see its own group at the top of the mount;
/// then the path of the group outside of the container does not exist.
void applyGroups(const std::string& mount, std::string path, const std::string& fileName,
                 std::optional<uint64_t>& limit) {
    if (path.find("/..") != std::string::npos) // outside of the visible part
        path.clear();
    for (;; path.resize(path.rfind('/'))) {
        if (path.ends_with('/'))
            path.pop_back();
        std::string file(mount);
        applyFile(file.append(path).append("/").append(fileName), limit);
        if (path.find('/') == std::string::npos)
            return;
    }
}

bool hasMemory(const std::string_view controllers) {
    std::string list(",");
    list.append(controllers).append(",");
    return list.find(",memory,") != std::string::npos;
}

} // namespace

std::optional<uint64_t> readContainerLimit(const std::string& root) {
    std::optional<uint64_t> limit;
    std::ifstream groups(root + "/proc/self/cgroup");
    // A line is the number of a hierarchy, its controllers, and the group's path; version 2 has no controllers there.
    for (std::string line; std::getline(groups, line);) {
        const size_t first = line.find(':');
        const size_t second = line.find(':', first + 1);
        if (first == std::string::npos || second == std::string::npos)
            continue;
        const std::string controllers = line.substr(first + 1, second - first - 1);
        const std::string path = line.substr(second + 1);
        if (controllers.empty())
            for (const char* const mount : {"/sys/fs/cgroup", "/sys/fs/cgroup/unified"})
                applyGroups(root + mount, path, "memory.max", limit);
        else if (hasMemory(controllers))
            applyGroups(root + "/sys/fs/cgroup/memory", path, "memory.limit_in_bytes", limit);
    }
    return limit;
}

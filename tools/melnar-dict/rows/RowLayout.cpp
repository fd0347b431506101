#include "tools/melnar-dict/rows/RowLayout.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

static_assert(std::endian::native == std::endian::little, "rows are written and read as they lie in memory");

void appendIDs(const std::span<const uint64_t> ids, const size_t idWidth, std::string& output) {
    if (idWidth == RowLayout::WIDE) {
        output.append(reinterpret_cast<const char*>(ids.data()), ids.size_bytes());
        return;
    }
    constexpr uint64_t LARGEST = std::numeric_limits<uint32_t>::max();
    const auto tooLarge = std::find_if(ids.begin(), ids.end(), [](const uint64_t id) { return id > LARGEST; });
    if (tooLarge != ids.end())
        throw ToolFailure(ExitCode::FAILURE,
                          "the ID " + std::to_string(*tooLarge) + " does not fit into 4 bytes; use --id-width 8");
    const size_t begin = output.size();
    output.resize(begin + ids.size() * RowLayout::NARROW);
    for (size_t index = 0; index < ids.size(); ++index) {
        const auto id = static_cast<uint32_t>(ids[index]);
        std::memcpy(output.data() + begin + index * sizeof id, &id, sizeof id);
    }
}

void takeIDs(const std::string_view bytes, const size_t idWidth, std::vector<uint64_t>& ids) {
    ids.resize(bytes.size() / idWidth);
    if (idWidth == RowLayout::WIDE) {
        bytes.copy(reinterpret_cast<char*>(ids.data()), bytes.size());
        return;
    }
    for (size_t index = 0; index < ids.size(); ++index) {
        uint32_t id;
        std::memcpy(&id, bytes.data() + index * sizeof id, sizeof id);
        ids[index] = id;
    }
}

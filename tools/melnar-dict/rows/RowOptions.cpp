#include "tools/melnar-dict/rows/RowOptions.h"

#include <limits>
#include <string>
#include <utility>
#include <vector>

size_t RowOptions::getNumberOfColumns(const InputFiles& files) const {
    return m_asksForQuads || haveGraphs(files) ? 4 : 3;
}

size_t RowOptions::getIDWidth(const uint64_t largestID) const noexcept {
    return m_idWidth.value_or(largestID <= std::numeric_limits<uint32_t>::max() ? RowLayout::NARROW : RowLayout::WIDE);
}

void addRowOptions(VerbDescription& verb, RowOptions& variable) {
    verb.addFlag("--quads", "write 4 columns, even if the syntax of no input file has graphs", variable.m_asksForQuads);
    verb.addChoice("--id-width", "BYTES", "bytes of an ID in the rows: 4, 8, or auto: 4 if all IDs fit (default)",
                   variable.m_idWidth,
                   std::vector<std::pair<std::string, std::optional<size_t>>>{
                       {"4", RowLayout::NARROW}, {"8", RowLayout::WIDE}, {"auto", std::nullopt}});
}

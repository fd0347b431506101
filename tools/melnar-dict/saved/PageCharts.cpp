#include "tools/melnar-dict/saved/PageCharts.h"

#include "tools/melnar-dict/saved/FigureText.h"
#include "tools/melnar-dict/shell/Amounts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace {

// In units of the drawings, which are pixels on a small phone.
constexpr double WIDTH = 328;
constexpr double LEFT_OF_AXIS = 36;
constexpr double RIGHT = 314;
constexpr double TOP = 18;
constexpr double BOTTOM = 158;
constexpr double NAMES_OF_COLUMNS = BOTTOM + 16;
constexpr double NAME_OF_AXIS = BOTTOM + 34;
constexpr double DESCENT = 6;
constexpr double GAP = 2;
constexpr double GAP_ABOVE = 5;

// The share of used buckets at which a table grows.
constexpr double LARGEST_OCCUPANCY = 0.7;

// With so many buckets per segment, its occupancy varies by about 0.06 if hashes are random.
constexpr size_t FEWEST_BUCKETS_OF_A_SEGMENT = 64;

double getHeight(const double share, const double largestShare) {
    return (BOTTOM - TOP) * share / largestShare;
}

double getShare(const uint64_t part, const uint64_t whole) {
    return whole == 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole);
}

uint64_t countTerms(const std::vector<ChartColumn>& columns) {
    return std::accumulate(columns.begin(), columns.end(), uint64_t(0),
                           [](const uint64_t sum, const ChartColumn& column) { return sum + column.m_numberOfTerms; });
}

uint64_t countMostTerms(const std::vector<ChartColumn>& columns) {
    return std::max_element(columns.begin(), columns.end(),
                            [](const ChartColumn& left, const ChartColumn& right) {
                                return left.m_numberOfTerms < right.m_numberOfTerms;
                            })
        ->m_numberOfTerms;
}

Html drawText(const char* const anchor, const double x, const double y, const std::string& text) {
    return Html::fill(R"(<text class="{}" x="{}" y="{}">{}</text>)", anchor, x, y, text);
}

Html drawLine(const char* const kind, const double left, const double right, const double y) {
    return Html::fill(R"(<line class="{}" x1="{}" x2="{}" y1="{}" y2="{}"/>)", kind, left, right, y, y);
}

/// A tick of the axis of shares.
Html drawShare(const double share, const double largestShare, const std::string& text) {
    const double y = BOTTOM - getHeight(share, largestShare);
    return drawLine("grid", LEFT_OF_AXIS, RIGHT, y).append(drawText("end", LEFT_OF_AXIS - 5, y + 4, text));
}

Html drawFrame(const std::string& label, const double lastLineOfText, const Html& contents) {
    return Html::fill("<svg viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"{}\">{}</svg>\n", WIDTH,
                      lastLineOfText + DESCENT, label, contents);
}

Html drawColumn(const ChartColumn& column, const uint64_t numberOfTerms, const std::string& noun,
                const std::string& unit, const double left, const double width, const double largestShare) {
    const double height = getHeight(getShare(column.m_numberOfTerms, numberOfTerms), largestShare);
    return Html::fill(R"(<rect class="mark" x="{}" y="{}" width="{}" height="{}"><title>{} {}: {}, {}</title></rect>)",
                      left + GAP / 2, BOTTOM - height, width - GAP, height, column.m_range, unit,
                      toCountText(column.m_numberOfTerms, noun), toShareText(column.m_numberOfTerms, numberOfTerms));
}

/// Returns the distance of the ticks of an axis up to a share, in percent: the smallest usual one for at most four
/// ticks.
uint64_t getTickDistance(const double largestShare) {
    constexpr std::array<uint64_t, 7> DISTANCES{1, 2, 5, 10, 15, 20, 25};
    return *std::find_if(DISTANCES.begin(), DISTANCES.end() - 1, [largestShare](const uint64_t distance) {
        return largestShare * 100 <= static_cast<double>(4 * distance);
    });
}

} // namespace

std::vector<size_t> mergeSegments(const TableProfile& table) {
    std::vector<size_t> segments = table.m_usedBuckets;
    while (table.m_numberOfBuckets < segments.size() * FEWEST_BUCKETS_OF_A_SEGMENT && segments.size() > 1) {
        for (size_t index = 0; 2 * index < segments.size(); ++index)
            segments[index] = segments[2 * index] + segments[2 * index + 1];
        segments.resize(segments.size() / 2);
    }
    return segments;
}

Html drawOccupancy(const TableProfile& table) {
    const std::vector<size_t> segments = mergeSegments(table);
    const double width = (RIGHT - LEFT_OF_AXIS) / static_cast<double>(segments.size());
    Html outline = Html::fill("M{} {}", LEFT_OF_AXIS, BOTTOM);
    for (size_t index = 0; index < segments.size(); ++index) {
        const double share = getShare(segments[index] * segments.size(), table.m_numberOfBuckets);
        outline.append(
            Html::fill("V{}H{}", BOTTOM - getHeight(share, 1), LEFT_OF_AXIS + width * static_cast<double>(index + 1)));
    }
    Html contents;
    for (const int percent : {0, 50, 100})
        contents.append(drawShare(percent / 100.0, 1, std::to_string(percent) + "%"));
    const double limit = BOTTOM - getHeight(LARGEST_OCCUPANCY, 1);
    contents.append(Html::fill(R"(<path class="mark" d="{}V{}Z"/>)", outline, BOTTOM))
        .append(drawLine("limit", LEFT_OF_AXIS, RIGHT, limit))
        .append(drawText("end strong", RIGHT, limit - GAP_ABOVE, "the table grows at 70%"))
        .append(drawText("start", LEFT_OF_AXIS, NAMES_OF_COLUMNS, "bucket 1"))
        .append(drawText("end", RIGHT, NAMES_OF_COLUMNS, groupDigits(table.m_numberOfBuckets)));
    return drawFrame("Share of used buckets along the table of " + table.m_name + ", in " +
                         toCountText(segments.size(), "segment"),
                     NAMES_OF_COLUMNS, contents);
}

Html drawProbeLengths(const std::vector<ChartColumn>& columns, const std::string& tableName, const std::string& noun) {
    const uint64_t numberOfTerms = countTerms(columns);
    const double largestShare = getShare(countMostTerms(columns), numberOfTerms);
    const double width = WIDTH / static_cast<double>(columns.size());
    Html contents = drawLine("axis", 0, WIDTH, BOTTOM);
    double left = 0;
    for (const ChartColumn& column : columns) {
        const double height = getHeight(getShare(column.m_numberOfTerms, numberOfTerms), largestShare);
        contents.append(drawText("middle", left + width / 2, NAMES_OF_COLUMNS, column.m_range));
        if (column.m_numberOfTerms != 0)
            contents.append(drawColumn(column, numberOfTerms, noun, "buckets", left, width, largestShare))
                .append(drawText("middle strong", left + width / 2, BOTTOM - height - GAP_ABOVE,
                                 toShareText(column.m_numberOfTerms, numberOfTerms)));
        left += width;
    }
    contents.append(drawText("middle", WIDTH / 2, NAME_OF_AXIS, "buckets that a lookup reads"));
    return drawFrame("Shares of the " + noun + "s of " + tableName + " by the buckets that a lookup reads",
                     NAME_OF_AXIS, contents);
}

Html drawLengths(const std::vector<ChartColumn>& columns, const std::string& datatypeName, const std::string& noun) {
    const uint64_t numberOfTerms = countTerms(columns);
    const double share = getShare(countMostTerms(columns), numberOfTerms);
    const uint64_t tickDistance = getTickDistance(share);
    const uint64_t numberOfTicks = static_cast<uint64_t>(std::ceil(share * 100 / static_cast<double>(tickDistance)));
    const double largestShare = static_cast<double>(numberOfTicks * tickDistance) / 100;
    Html contents;
    for (uint64_t tick = 0; tick <= numberOfTicks; ++tick)
        contents.append(drawShare(static_cast<double>(tick * tickDistance) / 100, largestShare,
                                  std::to_string(tick * tickDistance) + "%"));
    // Wider columns would look like walls.
    constexpr size_t FEWEST_COLUMNS = 6;
    constexpr size_t MOST_NAMES = 10;
    const double width = (RIGHT - LEFT_OF_AXIS) / static_cast<double>(std::max(columns.size(), FEWEST_COLUMNS));
    const size_t columnsOfAName = (columns.size() + MOST_NAMES - 1) / MOST_NAMES;
    double left = LEFT_OF_AXIS;
    for (size_t index = 0; index < columns.size(); ++index) {
        contents.append(drawColumn(columns[index], numberOfTerms, noun, "bytes", left, width, largestShare));
        if (index % columnsOfAName == 0)
            contents.append(drawText("middle", left, NAMES_OF_COLUMNS, columns[index].m_begin));
        left += width;
    }
    if (columns.size() % columnsOfAName == 0)
        contents.append(drawText("middle", left, NAMES_OF_COLUMNS, columns.back().m_end));
    contents.append(drawText("middle", (LEFT_OF_AXIS + RIGHT) / 2, NAME_OF_AXIS, "bytes of a " + noun));
    return drawFrame("Shares of the " + noun + "s of " + datatypeName + " by length", NAME_OF_AXIS, contents);
}

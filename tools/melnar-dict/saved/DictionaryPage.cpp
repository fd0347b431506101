#include "tools/melnar-dict/saved/DictionaryPage.h"

#include "tools/melnar-dict/saved/FigureText.h"
#include "tools/melnar-dict/saved/PageCharts.h"
#include "tools/melnar-dict/saved/PageStyle.h"
#include "tools/melnar-dict/shell/Amounts.h"
#include "tools/melnar-dict/shell/Html.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <utility>
#include <vector>

const std::string_view BEGINNING_OF_A_DICTIONARY_PAGE = "<!DOCTYPE html>\n<!-- melnar-dict stats -->\n";

namespace {

// If all escaping should fail, the policy still prevents running and loading anything.
constexpr const char* PAGE = R"html(<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>{} – {} dictionary</title>
<style>{}</style>
</head>
<body>
<main>
<header>
<p class="quiet">{} dictionary</p>
<h1><bdi>{}</bdi></h1>
{}</header>
{}</main>
</body>
</html>
)html";

constexpr const char* SECTION = R"html(<section id="{}">
<h2>{}</h2>
<p>{}</p>
{}<p class="quiet unusual"><b>Unusual</b> would be {}</p>
</section>
)html";

constexpr const char* FACT = "<div><dt>{}</dt><dd>{}</dd></div>\n";

constexpr const char* BARS = R"html(<table class="bars">
<thead><tr><th scope="col">{}</th><th scope="col">{}</th><th scope="col" class="number">{}</th></tr></thead>
<tbody>
{}</tbody>
</table>
)html";

constexpr const char* BAR = R"html(<tr>
<th scope="row">{}</th>
<td><div class="bar{}"><span style="width:{}%"></span></div></td>
<td class="number">{} <span class="quiet{}">{}</span></td>
</tr>
)html";

constexpr const char* PANEL = R"html(<figure>
<figcaption><b>{}</b> {}</figcaption>
{}</figure>
)html";

constexpr const char* FIGURES_OF_COLUMNS = R"html(<details><summary>Figures</summary>
<table>
<thead><tr><th scope="col">{}</th><th scope="col" class="number">{}</th><th scope="col" class="number">Share</th></tr></thead>
<tbody>
{}</tbody>
</table>
</details>
)html";

constexpr size_t MOST_LANGUAGES = 20;

struct Purpose {
    std::string_view m_part;
    std::string_view m_text;
};

constexpr std::array<Purpose, 15> PURPOSES{{
    {"Data pool", "the texts"},
    {"Data offsets", "where each text begins, 8 bytes per ID"},
    {"Datatype bytes", "one byte per ID"},
    {"Fingerprints", "one byte of hash per bucket, for faster lookups; not in the file"},
    {"Hash table of xsd:string", "from texts to IDs"},
    {"Hash table of rdf:PlainLiteral", "from texts with language tags to IDs"},
    {"Hash table of IRIs", "from IRIs to IDs"},
    {"Hash table of blank nodes", "from labels to IDs"},
    {"Hash table of typed literals", "from texts with datatypes to IDs"},
    {"Hash table of directional strings", "from texts with language tags and directions to IDs"},
    {"Hash table of triple terms", "from triples to IDs"},
    {"Shared texts of IRIs", "beginnings that many IRIs share, each stored once"},
    {"Shared texts of blank nodes", "beginnings of the labels of each document, each stored once"},
    {"Shared texts of typed literals", "datatypes, each stored once"},
    {"Shared texts of directional strings", "language tags with direction, each stored once"},
}};

/// Returns the width of the bar of a part, in percent.
double getWidth(const uint64_t part, const uint64_t whole) {
    return whole == 0 ? 0 : static_cast<double>(part) * 100 / static_cast<double>(whole);
}

/// Returns the word for a term on this page: strings, if the dictionary has no other terms.
std::string getNoun(const DictionaryPortrait& portrait) {
    return portrait.hasOtherTerms() ? "term" : "string";
}

/// Returns the same at the start of a sentence or a heading.
std::string getCapitalNoun(const DictionaryPortrait& portrait) {
    return portrait.hasOtherTerms() ? "Term" : "String";
}

uint64_t getSum(const std::vector<size_t>& numbers) {
    return std::accumulate(numbers.begin(), numbers.end(), uint64_t(0));
}

Html drawFacts(const DictionaryPortrait& portrait) {
    const uint64_t numberOfTerms = portrait.getNumberOfTerms();
    Html facts = Html::fill(FACT, getNoun(portrait) + "s", groupDigits(numberOfTerms))
                     .append(Html::fill(FACT, "text", describeBytes(portrait.getTextBytes())))
                     .append(Html::fill(FACT, "memory", describeBytes(portrait.getMemoryBytes())));
    if (numberOfTerms != 0) {
        const double beyondText =
            static_cast<double>(portrait.getMemoryBytes()) - static_cast<double>(portrait.getTextBytes());
        facts.append(Html::fill(FACT, "bytes a " + getNoun(portrait) + " beyond its text",
                                toDecimalText(beyondText / static_cast<double>(numberOfTerms))));
    }
    if (portrait.m_numberOfShards > 1)
        facts.append(Html::fill(FACT, "shards", groupDigits(portrait.m_numberOfShards)));
    facts.append(Html::fill(FACT, portrait.m_languages.size() == 1 ? "language tag" : "language tags",
                            groupDigits(portrait.m_languages.size())));
    return Html::fill("<dl class=\"facts\">\n{}</dl>\n", facts);
}

Html drawMemory(const DictionaryPortrait& portrait) {
    const uint64_t memoryBytes = portrait.getMemoryBytes();
    std::vector<DictionaryPortrait::Part> parts = portrait.m_parts;
    std::ranges::stable_sort(parts, std::ranges::greater(), &DictionaryPortrait::Part::m_bytes);
    Html rows;
    for (const DictionaryPortrait::Part& part : parts) {
        Html name = Html::ofText(part.m_name);
        if (const auto* const purpose = std::ranges::find(PURPOSES, part.m_name, &Purpose::m_part);
            purpose != PURPOSES.end())
            name.append(Html::fill(" <span class=\"quiet\">{}</span>", purpose->m_text));
        rows.append(Html::fill(BAR, name, " whole", getWidth(part.m_bytes, memoryBytes), describeBytes(part.m_bytes),
                               "", toShareText(part.m_bytes, memoryBytes) + " · " + toCountText(part.m_bytes, "byte")));
    }
    return Html::fill(
        SECTION, "memory", "Memory by part",
        Html::fill(
            "An open dictionary takes {}. The data pool with the texts should be the largest part. The size of the "
            "other parts hardly depends on the lengths of the {}s.",
            describeBytes(memoryBytes), getNoun(portrait)),
        Html::fill(BARS, "Part", "Share of the memory", "Memory", rows),
        Html::fill(
            "another part that is larger than the data pool, unless there are only a few {}s or very short ones: "
            "each part takes whole pages of 4 KiB.",
            getNoun(portrait)));
}

/// Empty for a dictionary of strings only, for which the facts and the lengths are sufficient.
Html drawKinds(const DictionaryPortrait& portrait) {
    if (!portrait.hasOtherTerms())
        return {};
    const uint64_t numberOfTerms = portrait.getNumberOfTerms();
    Html rows;
    for (const DictionaryPortrait::Lengths& lengths : portrait.m_lengths)
        rows.append(Html::fill(BAR, lengths.m_datatypeName, " whole", getWidth(lengths.m_numberOfTerms, numberOfTerms),
                               groupDigits(lengths.m_numberOfTerms), "",
                               toShareText(lengths.m_numberOfTerms, numberOfTerms) + " · " +
                                   describeBytes(lengths.m_bytes) + " of text"));
    return Html::fill(SECTION, "kinds", "Kinds of terms",
                      "xsd:string and rdf:PlainLiteral are the strings without and with a language tag; typed literals "
                      "have another datatype, directional strings a tag and a base direction.",
                      Html::fill(BARS, "Kind", "Share of the terms", "Terms", rows),
                      "as many blank nodes as IRIs: other data cannot refer to them.");
}

/// Returns the number of terms of a table: its used buckets without the tombstones.
uint64_t getNumberOfTerms(const TableProfile& table) {
    return getSum(table.m_probeLengths);
}

Html drawOccupancySection(const DictionaryPortrait& portrait) {
    Html panels;
    for (const TableProfile& table : portrait.m_tables) {
        const uint64_t usedBuckets = getSum(table.m_usedBuckets);
        const std::vector<size_t> segments = mergeSegments(table);
        const auto [emptiest, fullest] = std::ranges::minmax(segments);
        panels.append(Html::fill(
            PANEL, table.m_name,
            Html::fill("{} of {} used: {}<br><span class=\"quiet\">emptiest of {}: {}, fullest: {}</span>",
                       groupDigits(usedBuckets), toCountText(table.m_numberOfBuckets, "bucket"),
                       toShareText(usedBuckets, table.m_numberOfBuckets), toCountText(segments.size(), "segment"),
                       toShareText(emptiest * segments.size(), table.m_numberOfBuckets),
                       toShareText(fullest * segments.size(), table.m_numberOfBuckets)),
            drawOccupancy(table)));
    }
    return Html::fill(
        SECTION, "occupancy", "Occupancy along the table",
        Html::fill("A hash table stores each {} in the bucket that its hash selects, or in the next free one. Each "
                   "chart runs along a table, from the first bucket to the last: random hashes fill it "
                   "evenly. A table doubles when 70% of its buckets are used, so a large one is 35% "
                   "to 70% full.{}",
                   getNoun(portrait),
                   portrait.m_numberOfShards > 1 ? " Each shard has its own; a chart shows all of them together." : ""),
        Html::fill("<div class=\"panels\">\n{}</div>\n", panels),
        Html::fill("a step, a gap or a peak. There the hashes of many {}s are similar, and looking them up takes "
                   "longer. The fewer buckets a table has, the more its chart varies by chance.",
                   getNoun(portrait)));
}

/// Shows the columns as figures, for readers who cannot see the chart or need precise values.
Html tabulate(const std::vector<ChartColumn>& columns, const char* const nameOfRanges, const std::string& capitalNoun) {
    const uint64_t numberOfTerms =
        std::accumulate(columns.begin(), columns.end(), uint64_t(0),
                        [](const uint64_t sum, const ChartColumn& column) { return sum + column.m_numberOfTerms; });
    Html rows;
    for (const ChartColumn& column : columns)
        rows.append(Html::fill(
            "<tr><th scope=\"row\">{}</th><td class=\"number\">{}</td><td class=\"number\">{}</td></tr>\n",
            column.m_range, groupDigits(column.m_numberOfTerms), toShareText(column.m_numberOfTerms, numberOfTerms)));
    return Html::fill(FIGURES_OF_COLUMNS, nameOfRanges, capitalNoun + "s", rows);
}

/// The numbers from `begin` to `last`.
std::string toRangeText(const uint64_t begin, const uint64_t last) {
    return begin == last ? groupDigits(begin) : groupDigits(begin) + "–" + groupDigits(last);
}

/// 1 to 4 buckets have columns of their own; then each column covers twice as many, and the last one all others.
std::vector<ChartColumn> makeProbeColumns(const std::vector<size_t>& probeLengths) {
    constexpr uint64_t LAST_COLUMN = 33;
    std::vector<ChartColumn> columns;
    for (uint64_t begin = 1; begin <= LAST_COLUMN;) {
        const uint64_t end = begin == LAST_COLUMN ? UINT64_MAX : begin < 4 ? begin + 1 : begin == 4 ? 5 : 2 * begin - 1;
        ChartColumn column{begin == LAST_COLUMN ? groupDigits(begin) + "+" : toRangeText(begin, end - 1), "", "", 0};
        for (uint64_t length = begin; length < end && length <= probeLengths.size(); ++length)
            column.m_numberOfTerms += probeLengths[length - 1];
        columns.push_back(std::move(column));
        begin = end;
    }
    return columns;
}

/// Returns the average number of probes of linear probing for an entry of an equally full table with random hashes.
double getExpectedProbeLength(const TableProfile& table) {
    const double freeShare =
        1 - static_cast<double>(getSum(table.m_usedBuckets)) / static_cast<double>(table.m_numberOfBuckets);
    return (1 + 1 / freeShare) / 2;
}

Html drawProbes(const DictionaryPortrait& portrait) {
    Html panels;
    for (const TableProfile& table : portrait.m_tables) {
        const uint64_t numberOfTerms = getNumberOfTerms(table);
        if (numberOfTerms == 0) {
            panels.append(Html::fill(PANEL, table.m_name, "no " + getNoun(portrait), ""));
            continue;
        }
        uint64_t buckets = 0;
        for (size_t index = 0; index < table.m_probeLengths.size(); ++index)
            buckets += table.m_probeLengths[index] * (index + 1);
        const std::vector<ChartColumn> columns = makeProbeColumns(table.m_probeLengths);
        panels.append(Html::fill(
            PANEL, table.m_name,
            Html::fill("{} on average, {} at most<br><span class=\"quiet\">random hashes: {} on average in an equally "
                       "full table</span>",
                       toDecimalText(static_cast<double>(buckets) / static_cast<double>(numberOfTerms)),
                       groupDigits(table.m_probeLengths.size()), toDecimalText(getExpectedProbeLength(table))),
            drawProbeLengths(columns, table.m_name, getNoun(portrait))
                .append(tabulate(columns, "Buckets", getCapitalNoun(portrait)))));
    }
    return Html::fill(
        SECTION, "probes", "Probe lengths",
        Html::fill(
            "How many buckets a lookup reads until it finds a {}: the bucket that the hash selects, and the next "
            "ones if that is taken. Most {}s should be in the first one.",
            getNoun(portrait), getNoun(portrait)),
        Html::fill("<div class=\"panels\">\n{}</div>\n", panels),
        Html::fill("an average well above that of random hashes, or a longest probe of thousands of buckets: then many "
                   "{}s have similar hashes, by chance or on purpose.",
                   getNoun(portrait)));
}

std::string toLengthText(const uint64_t length) {
    constexpr uint64_t KIBI = 1024;
    if (length < KIBI)
        return std::to_string(length);
    if (length < KIBI * KIBI)
        return std::to_string(length / KIBI) + "K";
    return length < KIBI * KIBI * KIBI ? std::to_string(length / KIBI / KIBI) + "M"
                                       : std::to_string(length / KIBI / KIBI / KIBI) + "G";
}

/// Makes columns from `first` to the end, each for the lengths with so many binary digits.
std::vector<ChartColumn> makeLengthColumns(const std::vector<uint64_t>& terms, const size_t first, const size_t end) {
    std::vector<ChartColumn> columns;
    for (size_t digits = first; digits < end; ++digits) {
        const uint64_t begin = digits == 0 ? 0 : uint64_t(1) << (digits - 1);
        columns.push_back({toRangeText(begin, digits == 0 ? 0 : 2 * begin - 1), toLengthText(begin),
                           toLengthText(digits == 0 ? 1 : 2 * begin), digits < terms.size() ? terms[digits] : 0});
    }
    return columns;
}

Html drawLengthsSection(const DictionaryPortrait& portrait) {
    // The same columns in each panel.
    size_t first = SIZE_MAX;
    size_t end = 0;
    for (const DictionaryPortrait::Lengths& lengths : portrait.m_lengths) {
        const auto found = std::ranges::find_if(lengths.m_terms, [](const uint64_t terms) { return terms != 0; });
        first = std::min(first, static_cast<size_t>(found - lengths.m_terms.begin()));
        end = std::max(end, lengths.m_terms.size());
    }
    Html panels;
    for (const DictionaryPortrait::Lengths& lengths : portrait.m_lengths) {
        if (lengths.m_numberOfTerms == 0) {
            panels.append(Html::fill(PANEL, lengths.m_datatypeName, "no " + getNoun(portrait), ""));
            continue;
        }
        const std::vector<ChartColumn> columns = makeLengthColumns(lengths.m_terms, first, end);
        panels.append(
            Html::fill(PANEL, lengths.m_datatypeName,
                       Html::fill("{} bytes on average<br><span class=\"quiet\">shortest: {}, longest: {}</span>",
                                  toDecimalText(static_cast<double>(lengths.m_bytes) /
                                                static_cast<double>(lengths.m_numberOfTerms)),
                                  toCountText(lengths.m_shortest, "byte"), toCountText(lengths.m_longest, "byte")),
                       drawLengths(columns, lengths.m_datatypeName, getNoun(portrait))
                           .append(tabulate(columns, "Bytes", getCapitalNoun(portrait)))));
    }
    return Html::fill(SECTION, "lengths", getCapitalNoun(portrait) + " lengths",
                      Html::fill("Bytes of each {} in UTF-8, with '@' and language tag{} where it has one. Each column "
                                 "covers lengths twice as large as the one before it, from the number below its "
                                 "left edge.",
                                 getNoun(portrait), portrait.hasOtherTerms() ? " or '^^' and datatype" : ""),
                      Html::fill("<div class=\"panels\">\n{}</div>\n", panels),
                      Html::fill("a peak far from the others, such as thousands of {}s of the same large length: "
                                 "documents, pictures or lists that were stored as literals.",
                                 getNoun(portrait)));
}

/// Returns a note on terms that the section on languages omits, if there are any.
const char* getNoteOnDirections(const DictionaryPortrait& portrait) {
    return std::ranges::find(portrait.m_tables, "directional strings", &TableProfile::m_name) == portrait.m_tables.end()
               ? ""
               : " Directional strings are not counted.";
}

Html drawLanguages(const DictionaryPortrait& portrait) {
    uint64_t numberOfStrings = 0;
    for (const DictionaryPortrait::Language& language : portrait.m_languages)
        numberOfStrings += language.m_numberOfStrings;
    if (numberOfStrings == 0)
        return Html::fill(SECTION, "languages", "Languages",
                          "No string has a language tag." + std::string(getNoteOnDirections(portrait)), "",
                          "a data set for users of several languages in which no string has a tag.");
    const uint64_t mostStrings = portrait.m_languages.front().m_numberOfStrings;
    Html rows;
    uint64_t otherStrings = numberOfStrings;
    for (const DictionaryPortrait::Language& language : portrait.m_languages) {
        if (&language == &portrait.m_languages.front() + MOST_LANGUAGES)
            break;
        otherStrings -= language.m_numberOfStrings;
        rows.append(Html::fill(BAR, Html::fill("<bdi>{}</bdi>", language.m_tag), "",
                               getWidth(language.m_numberOfStrings, mostStrings),
                               groupDigits(language.m_numberOfStrings), " share",
                               toShareText(language.m_numberOfStrings, numberOfStrings)));
    }
    if (otherStrings != 0)
        rows.append(Html::fill("<tr><th scope=\"row\">{}</th><td></td><td class=\"number\">{} <span "
                               "class=\"quiet share\">{}</span></td></tr>\n",
                               toCountText(portrait.m_languages.size() - MOST_LANGUAGES, "other tag"),
                               groupDigits(otherStrings), toShareText(otherStrings, numberOfStrings)));
    return Html::fill(
        SECTION, "languages", "Languages",
        Html::fill("{} with a language tag, of {}. A tag counts as it is written: en, EN and en-GB are "
                   "three. <code>melnar-dict stats</code> lists them all.{}",
                   toCountText(numberOfStrings, "string"), toCountText(portrait.m_languages.size(), "tag"),
                   getNoteOnDirections(portrait)),
        Html::fill(BARS, "Tag", "Compared with the first", "Strings, share", rows),
        "tags that differ in case only, or that belong to no language: users who search for the usual tag "
        "do not find these strings.");
}

Html drawUnused(const DictionaryPortrait& portrait) {
    const uint64_t withdrawn = portrait.m_numberOfIDs - portrait.getNumberOfTerms();
    Html rows;
    const auto appendRow = [&rows](const std::string& name, const uint64_t part, const uint64_t whole,
                                   const std::string& partText, const std::string& wholeText) {
        rows.append(Html::fill(BAR, name, " whole", getWidth(part, whole), toShareText(part, whole), "",
                               partText + " of " + wholeText));
    };
    appendRow("Bytes of the data pool", portrait.m_unusedPoolBytes, portrait.m_poolBytes,
              groupDigits(portrait.m_unusedPoolBytes), toCountText(portrait.m_poolBytes, "byte"));
    appendRow("IDs without a " + getNoun(portrait), withdrawn, portrait.m_numberOfIDs, groupDigits(withdrawn),
              toCountText(portrait.m_numberOfIDs, "ID"));
    for (const TableProfile& table : portrait.m_tables) {
        const uint64_t tombstones = getSum(table.m_usedBuckets) - getNumberOfTerms(table);
        appendRow("Buckets of withdrawn " + getNoun(portrait) + "s, " + table.m_name, tombstones,
                  table.m_numberOfBuckets, groupDigits(tombstones), toCountText(table.m_numberOfBuckets, "bucket"));
    }
    return Html::fill(
        SECTION, "unused", "Unused",
        Html::fill(
            "{} of the data pool and {} are not used by any {}. Each thread that loaded leaves some space unused, and "
            "so do withdrawn {}s.",
            toCountText(portrait.m_unusedPoolBytes, "byte"), toCountText(withdrawn, "ID"), getNoun(portrait),
            getNoun(portrait)),
        Html::fill(BARS, "What", "Unused share", "Unused", rows),
        Html::fill("more than a tenth in a large dictionary. <code>melnar-dict compact</code> frees it, "
                   "and gives the {}s new IDs.",
                   getNoun(portrait)));
}

} // namespace

std::string toDictionaryPage(const DictionaryPortrait& portrait) {
    const Html sections = drawKinds(portrait)
                              .append(drawMemory(portrait))
                              .append(drawOccupancySection(portrait))
                              .append(drawProbes(portrait))
                              .append(drawLengthsSection(portrait))
                              .append(drawLanguages(portrait))
                              .append(drawUnused(portrait));
    const Html page = Html::fill(PAGE, portrait.m_name, getNoun(portrait), Html::fill(PAGE_STYLE),
                                 getCapitalNoun(portrait), portrait.m_name, drawFacts(portrait), sections);
    return std::string(BEGINNING_OF_A_DICTIONARY_PAGE) + page.getMarkup();
}

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/saved/Browser.h"
#include "tests/tools/melnar-dict/saved/SampleTerms.h"
#include "tools/melnar-dict/saved/DictionaryPage.h"
#include "tools/melnar-dict/saved/PageCharts.h"

#include <gtest/gtest.h>

#include <map>
#include <numeric>
#include <string>
#include <vector>

namespace {

constexpr int PHONE = 360;
constexpr int DESKTOP = 1100;
constexpr uint32_t MARK = 0x2B74B5;
constexpr uint32_t LIGHT_TRACK = 0xEDF0F3;
constexpr uint32_t DARK_TRACK = 0x252B32;

/// Tests how Chromium shows a page of a dictionary with some thousand strings, including withdrawn ones. The tool makes
/// the page and the figures with which the drawings are compared.
class DictionaryPageSlowTest : public testing::Test {
protected:
    void SetUp() override {
        if (!Browser::isInstalled())
            GTEST_SKIP() << "chromium is not installed";
        Dictionary dictionary({.m_memoryLimit = size_t(1) << 30, .m_maximumNumberOfResources = 1000000});
        {
            DictionaryThread thread(dictionary);
            for (int number = 0; number < 3000; ++number)
                dictionary.resolveResource(
                    thread, std::string(static_cast<size_t>(number) % 200, 'x') + std::to_string(number), D_XSD_STRING);
            for (int number = 0; number < 2000; ++number)
                dictionary.resolveResource(thread,
                                           std::to_string(number) + "@x-" + std::to_string(number % (1 + number % 25)),
                                           D_RDF_PLAIN_LITERAL);
            dictionary.commit();
            for (int number = 0; number < 1500; ++number)
                dictionary.resolveResource(thread, "withdrawn " + std::to_string(number), D_XSD_STRING);
        }
        dictionary.rollback();
        dictionary.save(m_directory.getPathOf("d"));
        m_portrait = DictionaryPortrait::of(
            *Dictionary::open(m_directory.getPathOf("d"), {.m_memoryLimit = size_t(1) << 30}), "d");
        m_page = runToolProcess({"stats", "--html", "-", m_directory.getPathOf("d")}).m_output;
        m_figures = nlohmann::json::parse(runToolProcess({"stats", "--json", m_directory.getPathOf("d")}).m_output);
    }

    /// Collects the values of figures of a component; the names of its ancestors are joined by slashes.
    static void collect(const nlohmann::json& component, const std::string& path,
                        std::map<std::string, double>& values) {
        for (const nlohmann::json& property : component["properties"])
            if (property["value"].is_number())
                values[path + property["label"].get<std::string>()] = property["value"];
        for (const nlohmann::json& child : component["children"])
            collect(child, path + child["name"].get<std::string>() + "/", values);
    }

    std::map<std::string, double> getFigures() const {
        std::map<std::string, double> figures;
        collect(m_figures, "", figures);
        return figures;
    }

    /// Returns the names and shares of the bars of a section, as drawn.
    std::vector<std::pair<std::string, double>> measureBars(const std::string& section, const int width) const {
        const nlohmann::json bars = m_browser.measure(
            m_page, width,
            "[...page.querySelectorAll('#" + section +
                " .bar')].map(bar => [bar.closest('tr').querySelector('th').firstChild.textContent.trim(), "
                "bar.firstChild.getBoundingClientRect().width / bar.getBoundingClientRect().width])");
        EXPECT_EQ("", m_browser.getConsole());
        return bars;
    }

    TemporaryDirectory m_directory;
    Browser m_browser;
    DictionaryPortrait m_portrait;
    std::string m_page;
    nlohmann::json m_figures;
};

TEST_F(DictionaryPageSlowTest, barsOfMemoryHaveTheSharesOfTheParts) {
    std::map<std::string, double> figures = getFigures();
    const double all = figures["Aggregate memory consumed (bytes)"];
    const std::map<std::string, std::string> names{
        {"Data pool", "Data pool/"},
        {"Data offsets", "Data offsets/"},
        {"Datatype bytes", "Datatype bytes/"},
        {"Fingerprints", "Fingerprints/"},
        {"Hash table of xsd:string", "StringDatatype/xsd:string/"},
        {"Hash table of rdf:PlainLiteral", "StringDatatype/rdf:PlainLiteral/"}};
    for (const int width : {PHONE, DESKTOP}) {
        const auto bars = measureBars("memory", width);
        ASSERT_EQ(names.size(), bars.size());
        double sum = 0;
        for (const auto& [name, share] : bars) {
            EXPECT_NEAR(figures.at(names.at(name) + "Memory consumed (bytes)") / all, share, 0.002) << name;
            sum += share;
        }
        EXPECT_NEAR(1, sum, 0.01);
        for (size_t index = 1; index < bars.size(); ++index)
            EXPECT_GE(bars[index - 1].second, bars[index].second) << "the largest first";
    }
}

TEST_F(DictionaryPageSlowTest, barsOfLanguagesAndUnusedBytesHaveTheirShares) {
    std::map<std::string, double> figures = getFigures();
    const auto languages = measureBars("languages", DESKTOP);
    ASSERT_EQ(20u, languages.size());
    const double most = figures.at("Languages/" + languages[0].first);
    for (const auto& [tag, share] : languages)
        EXPECT_NEAR(figures.at("Languages/" + tag) / most, share, 0.002) << tag;
    const auto unused = measureBars("unused", DESKTOP);
    ASSERT_EQ(4u, unused.size());
    EXPECT_NEAR(figures.at("Data pool/Bytes unused") / figures.at("Data pool/Memory consumed (bytes)"),
                unused[0].second, 0.002);
    EXPECT_NEAR(1500.0 / 6500, unused[1].second, 0.002) << "IDs";
    EXPECT_NEAR(figures.at("StringDatatype probes/xsd:string/Number of deleted buckets") /
                    figures.at("StringDatatype/xsd:string/Number of buckets"),
                unused[2].second, 0.002);
    EXPECT_LT(0.1, unused[2].second);
    EXPECT_EQ(0, unused[3].second);
}

TEST_F(DictionaryPageSlowTest, columnsHaveTheSharesOfTheirStrings) {
    const nlohmann::json columns =
        m_browser.measure(m_page, DESKTOP,
                          "['probes', 'lengths'].map(id => [...page.querySelectorAll('#' + id + ' svg')].map(svg => "
                          "[...svg.querySelectorAll('rect')].map(rect => [rect.getBoundingClientRect().height, "
                          "Number(rect.textContent.match(/: ([0-9,]+) string/)[1].replace(/,/g, ''))])))");
    ASSERT_EQ(2u, columns.size());
    for (size_t chart = 0; chart < 2; ++chart) {
        ASSERT_EQ(2u, columns[chart].size());
        for (size_t table = 0; table < 2; ++table) {
            double strings = 0;
            double height = 0;
            for (const nlohmann::json& column : columns[chart][table]) {
                height += column[0].get<double>();
                strings += column[1].get<double>();
            }
            EXPECT_EQ(m_portrait.m_lengths[table].m_numberOfTerms, strings) << "no string is missing";
            for (const nlohmann::json& column : columns[chart][table])
                EXPECT_NEAR(column[1].get<double>() / strings, column[0].get<double>() / height, 0.002);
        }
    }
    const std::vector<size_t>& probeLengths = m_portrait.m_tables[0].m_probeLengths;
    EXPECT_EQ(probeLengths[0], columns[0][0][0][1]) << "strings in their home buckets";
    EXPECT_EQ(std::accumulate(probeLengths.begin() + 4, probeLengths.begin() + 8, size_t(0)), columns[0][0][4][1])
        << "5 to 8 buckets";
}

TEST_F(DictionaryPageSlowTest, areasFollowTheOccupancyOfTheirTables) {
    // The height of the filled area in the middle of each segment, by bisection.
    const nlohmann::json areas = m_browser.measure(
        m_page, DESKTOP,
        "[...page.querySelectorAll('#occupancy path')].map(path => { const grid = "
        "[...path.ownerSVGElement.querySelectorAll('.grid')]; const bottom = grid[0].y1.baseVal.value; const top = "
        "grid[2].y1.baseVal.value; const left = grid[0].x1.baseVal.value; const width = grid[0].x2.baseVal.value - "
        "left; "
        "const segments = Number(path.ownerSVGElement.getAttribute('aria-label').match(/in (\\d+) segment/)[1]); "
        "return "
        "Array.from({length: segments}, (_, index) => { let low = 0, high = 1; for (let step = 0; step < 20; ++step) { "
        "const middle = (low + high) / 2; if (path.isPointInFill(new DOMPoint(left + width * (index + .5) / segments, "
        "bottom - (bottom - top) * middle))) low = middle; else high = middle; } return low; }); })");
    ASSERT_EQ(2u, areas.size());
    for (size_t table = 0; table < 2; ++table) {
        const std::vector<size_t> segments = mergeSegments(m_portrait.m_tables[table]);
        ASSERT_LT(16u, segments.size());
        ASSERT_EQ(segments.size(), areas[table].size());
        const double buckets = static_cast<double>(m_portrait.m_tables[table].m_numberOfBuckets / segments.size());
        for (size_t index = 0; index < segments.size(); ++index)
            EXPECT_NEAR(static_cast<double>(segments[index]) / buckets, areas[table][index].get<double>(), 0.002);
    }
    const std::vector<size_t>& usedBuckets = m_portrait.m_tables[0].m_usedBuckets;
    EXPECT_EQ(getFigures().at("StringDatatype/xsd:string/Number of used buckets"),
              static_cast<double>(std::accumulate(usedBuckets.begin(), usedBuckets.end(), size_t(0))));
}

TEST_F(DictionaryPageSlowTest, nothingIsOutsideThePageAndNothingIsLoaded) {
    const std::string expression = "({sections: [...page.querySelectorAll('section')].filter(section => "
                                   "section.getBoundingClientRect().height > 100).map(section => section.id), width: "
                                   "frame.innerWidth, scrollWidth: "
                                   "page.documentElement.scrollWidth, outside: "
                                   "[...page.body.querySelectorAll('*')].filter(element => { const box = "
                                   "element.getBoundingClientRect(); return box.width > 0 && (box.left < -.5 || "
                                   "box.right > frame.innerWidth + .5); "
                                   "}).map(element => element.outerHTML.slice(0, 60)), loaded: "
                                   "frame.performance.getEntriesByType('resource').length})";
    for (const int width : {PHONE, 600, DESKTOP}) {
        const nlohmann::json layout = m_browser.measure(m_page, width, expression);
        EXPECT_EQ((std::vector<std::string>{"memory", "occupancy", "probes", "lengths", "languages", "unused"}),
                  layout["sections"]);
        EXPECT_EQ(width, layout["width"]);
        EXPECT_GE(width, layout["scrollWidth"]);
        EXPECT_EQ(nlohmann::json::array(), layout["outside"]);
        EXPECT_EQ(0, layout["loaded"]);
        EXPECT_EQ("", m_browser.getConsole());
    }
    DictionaryPortrait portrait = m_portrait;
    portrait.m_name = std::string(200, 'W');
    portrait.m_languages[0].m_tag = std::string(200, 'W');
    const nlohmann::json layout = m_browser.measure(toDictionaryPage(portrait), PHONE, expression);
    EXPECT_EQ(nlohmann::json::array(), layout["outside"]) << "with the longest names, too";
    const nlohmann::json terms = m_browser.measure(
        toDictionaryPage(DictionaryPortrait::of(*makeDictionaryOfTerms(), "terms")), PHONE, expression);
    EXPECT_EQ(nlohmann::json::array(), terms["outside"]);
    EXPECT_EQ("kinds", terms["sections"][0]);
    const nlohmann::json tooWide =
        m_browser.measure("<!DOCTYPE html><body style=\"margin:0\"><p style=\"width:361px\"></p>", PHONE, expression);
    EXPECT_EQ(1u, tooWide["outside"].size()) << "what does stand outside is noticed";
}

TEST_F(DictionaryPageSlowTest, hostileNamesRunNothing) {
    DictionaryPortrait portrait = m_portrait;
    portrait.m_name = "</h1></title><img src=x onerror=console.error('run')><script>console.error('run')</script>";
    portrait.m_languages[0].m_tag = portrait.m_name;
    const nlohmann::json shown = m_browser.measure(
        toDictionaryPage(portrait), DESKTOP,
        "[page.querySelector('h1').textContent, page.querySelector('#languages bdi').textContent, page.title, "
        "page.querySelectorAll('img, script').length]");
    EXPECT_EQ(portrait.m_name, shown[0]);
    EXPECT_EQ(portrait.m_name, shown[1]);
    EXPECT_EQ(portrait.m_name + " – string dictionary", shown[2]);
    EXPECT_EQ(0, shown[3]);
    EXPECT_EQ("", m_browser.getConsole());
    m_browser.measure("<script>console.error('run')</script>", DESKTOP, "0");
    EXPECT_NE("", m_browser.getConsole()) << "what does run is noticed";
}

TEST_F(DictionaryPageSlowTest, marksHaveTheirColourInLightAndDark) {
    const nlohmann::json bars = m_browser.measure(
        m_page, DESKTOP,
        "[...page.querySelectorAll('#memory .bar')].map(bar => { const all = bar.getBoundingClientRect(); const mark = "
        "bar.firstChild.getBoundingClientRect(); return [mark.left, mark.right, all.right, (mark.top + mark.bottom) / "
        "2]; })");
    const nlohmann::json columns =
        m_browser.measure(m_page, DESKTOP,
                          "[...page.querySelectorAll('rect.mark')].map(rect => "
                          "rect.getBoundingClientRect()).filter(box => box.height > 4)"
                          ".map(box => [(box.left + box.right) / 2, box.top + box.height / 2])");
    ASSERT_LT(8u, columns.size());
    for (const bool isDark : {false, true}) {
        const PngImage image = m_browser.draw(m_page, DESKTOP, isDark);
        EXPECT_EQ(isDark ? 0x14171Bu : 0xFFFFFFu, image.getColour(1, 1));
        for (const nlohmann::json& bar : bars) {
            const auto at = [&](const double x) {
                return image.getColour(static_cast<size_t>(x), static_cast<size_t>(bar[3].get<double>()));
            };
            EXPECT_EQ(MARK, at(bar[0].get<double>() + 1));
            EXPECT_EQ(MARK, at(bar[1].get<double>() - 2));
            EXPECT_EQ(isDark ? DARK_TRACK : LIGHT_TRACK, at(bar[1].get<double>() + 2));
            EXPECT_EQ(isDark ? DARK_TRACK : LIGHT_TRACK, at(bar[2].get<double>() - 2));
        }
        for (const nlohmann::json& column : columns)
            EXPECT_EQ(MARK, image.getColour(static_cast<size_t>(column[0].get<double>()),
                                            static_cast<size_t>(column[1].get<double>())));
    }
}

} // namespace

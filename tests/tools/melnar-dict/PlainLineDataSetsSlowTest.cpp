#include "tests/tools/melnar-dict/RdfFacts.h"
#include "tests/tools/melnar-dict/StatementTexts.h"

#include "tools/melnar-dict/BlockReader.h"
#include "tools/melnar-dict/InputFile.h"
#include "tools/melnar-dict/PlainLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace {

/// Every line of a real file: serd reads those that are plain as the same statements, and nearly all are. The parameter
/// is the file.
class PlainLineDataSetsSlowTest : public testing::TestWithParam<const char*> {
protected:
    void takeLine(const std::string_view line) {
        ++m_numberOfLines;
        if (m_plainLine.read(line.data(), line.data() + line.size()) == nullptr)
            return;
        ++m_numberOfPlainLines;
        ASSERT_EQ(readWithSerd(line, false), StatementTexts(m_plainLine.getStatement())) << line;
    }

    PlainLine m_plainLine{false};
    size_t m_numberOfLines = 0;
    size_t m_numberOfPlainLines = 0;
};

TEST_P(PlainLineDataSetsSlowTest, serdReadsThePlainLinesAsTheSameStatements) {
    const std::optional<std::string> folder = getDataFolder();
    if (!folder)
        GTEST_SKIP() << "MELNAR_DATA names no folder";
    BlockReader reader(openInputFile(*folder + '/' + GetParam()));
    for (Block block; reader.next(block);) {
        std::string_view text = block.getText();
        m_plainLine.reserve(text.size());
        while (!text.empty()) {
            const size_t length = std::min(text.find('\n'), text.size());
            takeLine(text.substr(0, length));
            if (HasFatalFailure())
                return;
            text.remove_prefix(std::min(length + 1, text.size()));
        }
    }
    EXPECT_GT(m_numberOfPlainLines, m_numberOfLines / 100 * 99) << "of " << m_numberOfLines;
}

INSTANTIATE_TEST_SUITE_P(Files, PlainLineDataSetsSlowTest,
                         testing::Values("wordnet31.nt.gz", "cldr-annotations.nt.gz", "long-texts.nt.gz"));

} // namespace

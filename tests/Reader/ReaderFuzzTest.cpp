#include "tests/Reader/DamagedText.h"
#include "tests/Reader/ReadText.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using namespace Rdf;

void check(const std::string& text, const ReaderOptions& options, const size_t pieceSize) {
    const ReadResult whole = readText(text, options);
    ASSERT_EQ(whole, readInPieces(text, pieceSize, options)) << pieceSize;
    ASSERT_LE(whole.m_bytesExamined, 8 * text.size() + 8);
    const ReadResult again = readText(whole.m_statements, strict(Syntax::N_QUADS, options.m_version));
    ASSERT_EQ(whole.m_statements, again.m_statements);
    ASSERT_EQ(std::vector<std::string>(), again.m_errors);
    uint64_t end = 0;
    for (const std::string& skipped : whole.m_skipped) {
        ASSERT_GE(std::stoul(skipped), end) << "what is skipped does not overlap";
        end = std::stoul(skipped.substr(skipped.find('-') + 1));
        ASSERT_LE(end, text.size());
    }
}

TEST(ReaderFuzzTest, damagedTextsDoNoHarmAndResultsAreSound) {
    for (const uint32_t seed : getTestSeeds(4)) {
        std::mt19937 random(seed);
        for (int round = 0; round < 2'500; ++round) {
            std::string text = TEXTS_TO_DAMAGE[random() % TEXTS_TO_DAMAGE.size()];
            damageSnippet(text, random);
            ReaderOptions options = lenient(static_cast<Syntax>(random() % 4));
            options.m_version = random() % 4 == 0 ? Version::RDF_1_1 : Version::RDF_1_2;
            options.m_isLenient = random() % 4 != 0;
            SCOPED_TRACE(text + "\n" + describeSeed(seed) + " syntax " +
                         std::to_string(static_cast<int>(options.m_syntax)));
            check(text, options, 1 + random() % 20);
            if (HasFatalFailure())
                return;
        }
    }
}

} // namespace

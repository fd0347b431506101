#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"

#include "Engine/core/platform/SystemCallException.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

using namespace melnar;

namespace {

constexpr const char* REFUSED = "\"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral>";

class RejectedTest : public testing::Test {
protected:
    /// Loads texts leniently, one file after the other, and returns the rejected bytes.
    std::string reject(const RdfFormat format, const std::vector<std::string>& texts,
                       FileLoader::Settings settings = {}) {
        settings.m_isLenient = settings.m_keepsRejected = true;
        RejectedFile rejectedFile(m_path);
        m_load.emplace(settings, TestLoad::MEMORY_LIMIT, Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS,
                       &rejectedFile);
        for (const std::string& text : texts)
            m_load->load(m_directory.addFile("FILE", text), format);
        rejectedFile.close();
        EXPECT_EQ(ExitCode::DONE, m_load->getJournal().getExitCode());
        return TemporaryDirectory::getContentsOf(m_path);
    }

    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("rejected");
    std::optional<TestLoad> m_load;
};

FileLoader::Settings makeSettings(const size_t numberOfThreads, const size_t blockSize,
                                  const size_t maximumLine = 1000) {
    return {numberOfThreads, true, "", blockSize, maximumLine, true};
}

TEST_F(RejectedTest, keepsLinesWithTheirEnds) {
    const std::string good = "<a:s> <a:p> \"good\" .";
    const std::string refused = std::string("<a:s> <a:p> ") + REFUSED + " . # c";
    for (const char* const end : {"\n", "\r\n", "\r"}) {
        EXPECT_EQ("", reject(RdfFormat::N_TRIPLES, {good + end + good}));
        EXPECT_EQ(std::string("bad") + end + " x \xFF" + end + refused + end + "\t<a:s> <" + end,
                  reject(RdfFormat::N_TRIPLES, {std::string("bad") + end + good + end + " x \xFF" + end + end +
                                                refused + end + "# c" + end + "\t<a:s> <" + end + good + end}))
            << end;
    }
    EXPECT_EQ(4u, m_load->getJournal().getNumberOfErrors());
}

TEST_F(RejectedTest, endsTheLastLineOfAFile) {
    EXPECT_EQ("a\nb\nc\n", reject(RdfFormat::N_TRIPLES, {"a\nb", "# nothing", "c"}));
    EXPECT_EQ("a\nb\n", reject(RdfFormat::TURTLE, {"a", "b"}));
}

TEST_F(RejectedTest, keepsStatementsFromTheirStartToWhereReadingContinues) {
    const std::string good = " <a:s> <a:p> 'good' .\n# c\n";
    const std::string unclosed = "<a:s> <a:p> \"x . <a:s> <a:p> 1 .\n  .";
    EXPECT_EQ("<a:s> <a:p> .\n" + unclosed + "\n<a:s> <a:p> 'x.' , .\n",
              reject(RdfFormat::TURTLE,
                     {good + "<a:s> <a:p> ." + good + unclosed + " # c\n" + good + "<a:s> <a:p> 'x.' , . "}));
}

TEST_F(RejectedTest, keepsAStatementWithRefusedLiteralsOnce) {
    const std::string refused = std::string("<a:s> <a:p> ") + REFUSED + " , 'good',\n " + REFUSED + " .";
    EXPECT_EQ(refused + "\n" + refused + "\n<a:s> .\n",
              reject(RdfFormat::TURTLE, {"@prefix : <a:> . " + refused + refused + "\n<a:s> . :s :p 'good' ."}));
    EXPECT_EQ(5u, m_load->getJournal().getNumberOfErrors());
    EXPECT_EQ(std::vector<std::string>{"good"}, m_load->readForms(D_XSD_STRING));
    EXPECT_EQ("<a:s> <a:p> " + std::string(REFUSED) + "\n",
              reject(RdfFormat::TRIG, {"<a:g> { <a:s> <a:p> " + std::string(REFUSED) + "}"}));
}

TEST_F(RejectedTest, keepsLinesAndStatementsThatAreTooLong) {
    const std::string longLine = "<a:s> <a:p> \"" + std::string(10'000, 'x') + "\" .\r\n";
    const std::string good = "<a:s> <a:p> 'good' .\n";
    EXPECT_EQ(longLine + longLine + "bad\n",
              reject(RdfFormat::N_TRIPLES, {longLine + "<a:s> <a:p> \"good\" .\n" + longLine + "bad\n"},
                     makeSettings(3, 16, 30)));
    EXPECT_EQ((std::vector<std::string>{"good"}), m_load->readForms(D_XSD_STRING));
    EXPECT_EQ(longLine.substr(0, longLine.size() - 2) + "\n",
              reject(RdfFormat::TURTLE, {good + longLine + good}, makeSettings(3, 16, 30)));
}

TEST_F(RejectedTest, isTheSameWhereverBlocksEnd) {
    const std::string refused = std::string("<a:s> <a:p> ") + REFUSED + " , " + REFUSED;
    const std::string unclosed = "<a:s> , \"\"\"x .\n<a:s> <a:p> 'y' .\n\"\"\" .";
    const std::string text = "{ <a:s> , <a:p> <a:o>}\n" + unclosed + "\n<a:g> { " + refused + " . \n <a:s> . \n " +
                             refused + "}\n<a:s> . <a:s> <a:p> 1. { <a:s> 'z";
    const std::string rejected =
        "<a:s> , <a:p> <a:o>\n" + unclosed + "\n" + refused + " .\n<a:s> .\n" + refused + "\n<a:s> .\n<a:s> 'z\n";
    for (size_t blockSize = 1; blockSize <= text.size() + 1; ++blockSize) {
        EXPECT_EQ(rejected, reject(RdfFormat::TRIG, {text}, makeSettings(1, blockSize))) << blockSize;
        EXPECT_EQ(rejected, reject(RdfFormat::TRIG, {text}, makeSettings(3, blockSize))) << blockSize;
    }
}

/// A text of many statements, valid and invalid, and its invalid parts.
struct MixedText {
    explicit MixedText(const RdfFormat format) {
        for (size_t number = 0; number < 3000; ++number) {
            const std::string subject = "<a:s" + std::to_string(number) + "> ";
            const bool isBad = number % 3 == 0 || (number > 1000 && number < 2000);
            const std::string statement = subject + (!isBad                  ? "<a:p> \"good\" .\n"
                                                     : number % 2 == 0       ? std::string("<a:p> ") + REFUSED + " .\n"
                                                     : !isLineFormat(format) ? "<a:p> 'x' 'y. ' , <u .\n"
                                                                             : "<a:p> bad .\n");
            m_text += statement;
            if (isBad)
                m_rejected += statement;
        }
    }

    std::string m_text;
    std::string m_rejected;
};

class RejectedConcurrentTest : public RejectedTest {};

TEST_F(RejectedConcurrentTest, isTheSameWithAnyNumberOfThreads) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::N_QUADS, RdfFormat::TURTLE, RdfFormat::TRIG}) {
        const MixedText mixed(format);
        for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 7})
            for (const size_t blockSize : std::initializer_list<size_t>{1, 100, 1000000})
                EXPECT_EQ(mixed.m_rejected, reject(format, {mixed.m_text}, makeSettings(numberOfThreads, blockSize)));
    }
}

/// Blocks are read with guesses that turn out to be wrong: bytes that were rejected then must not stay, nor be missing.
TEST_F(RejectedConcurrentTest, isTheSameWhenWhatWasReadAheadDoesNotCount) {
    std::string text;
    std::string rejected;
    for (size_t number = 0; number < 3000; ++number) {
        const std::string refused = ":s :p " + std::string(REFUSED) + ",\n " + REFUSED + " .\n";
        const std::string skipped = "<a:s> 'faulty " + std::to_string(number) + ".' .\n";
        if (number % 40 == 0)
            text += "@prefix : <u:" + std::to_string(number) + "> .\n";
        if (number % 70 == 0)
            text += ":s :p '''a .\n" + refused + skipped + "''' .\n";
        text += refused + skipped + ":s :p 'good' .\n";
        rejected += refused + skipped;
        if (number % 90 == 0) {
            const std::string unclosed = ":s , '''a .\n" + refused + skipped + "''' .\n";
            text += unclosed;
            rejected += unclosed;
        }
    }
    for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 7})
        for (const size_t blockSize : std::initializer_list<size_t>{180, 1000, 5000})
            EXPECT_TRUE(rejected == reject(RdfFormat::TURTLE, {text}, makeSettings(numberOfThreads, blockSize)))
                << numberOfThreads << ' ' << blockSize;
}

TEST_F(RejectedConcurrentTest, aFailureToWriteEndsTheLoadOfAllThreads) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
        std::string text;
        while (text.size() < 3 * FileOutputStream::BUFFER_SIZE)
            text += MixedText(format).m_text;
        for (int round = 0; round < 5; ++round) {
            SystemCallFaults faults(SystemCallFaults::Call::WRITE);
            faults.failAfter(0, ENOSPC, SystemCallFaults::Duration::FOR_GOOD);
            EXPECT_THROW(reject(format, {text}, makeSettings(7, 1000)), SystemCallException);
        }
    }
}

} // namespace

#include "tests/torture/CutTorture.h"
#include "tests/torture/Findings.h"
#include "tests/torture/KillTorture.h"
#include "tests/torture/MutationTorture.h"
#include "tests/torture/RewriteTorture.h"
#include "tests/torture/ShardKillTorture.h"
#include "tests/torture/SnippetTorture.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

namespace {

/// A short run of each torture, and faults that each must find.
class ToolTortureTest : public testing::Test {
protected:
    void expectNothing(const bool isRight, const std::string& line) const {
        EXPECT_TRUE(isRight) << m_output.str();
        EXPECT_EQ(0u, m_output.str().find(line)) << m_output.str();
    }

    void expectFinding(const bool isRight, const std::string& finding) const {
        EXPECT_FALSE(isRight);
        EXPECT_NE(std::string::npos, m_output.str().find("WRONG: MELNAR_SEED=5 ")) << m_output.str();
        EXPECT_NE(std::string::npos, m_output.str().find(finding)) << m_output.str();
        EXPECT_TRUE(m_output.str().find(" WRONG (") != std::string::npos) << m_output.str();
    }

    std::string getFolder() const { return m_directory.getPathOf(""); }

    /// Makes a program that runs the tool and, if the first argument is this verb, other commands after it, and before
    /// it.
    std::string addProgram(const std::string& verb, const std::string& commands,
                           const std::string& commandsBefore = ":") const {
        const std::string onVerb = "if [ \"$1\" = " + verb + " ]; then\n";
        const std::string path = m_directory.addFile(
            "program", "#!/bin/sh\n" + onVerb + commandsBefore + "\nfi\n'" MELNAR_DICT_EXECUTABLE "' \"$@\" || exit\n" +
                           onVerb + commands + "\nfi\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }

    const TemporaryDirectory m_directory;
    std::ostringstream m_output;
};

TEST_F(ToolTortureTest, readerAndJudgeAgreeOnSnippets) {
    expectNothing(tortureSnippets(5'000, 5, m_output), "5,000 snippets: no disagreement (");
}

TEST_F(ToolTortureTest, rulesThatDifferAreFound) {
    for (const char* const rule :
         {"INTEGER ::= [0-9]+", "ANON ::= '[' WS* ']'",
          "STRING_LITERAL_QUOTE ::= '\"' ([^#x22#x5C#xA] | ECHAR | UCHAR)* '\"'",
          "PN_CHARS ::= PN_CHARS_U | '-' | [0-9]", "BooleanLiteral ::= 'true'", "MISTAKEN ::= '\"\"\"' | \"'''\"",
          "IRIREF ::= '<' ([^#x00-#x1F<>\"{}|^`\\] | UCHAR)* '>'", "EOL ::= #xA"}) {
        m_output.str("");
        SCOPED_TRACE(rule);
        expectFinding(tortureSnippets(20'000, 5, m_output, rule), "\n  the judge ");
    }
}

TEST_F(ToolTortureTest, cutsAreErrors) {
    expectNothing(tortureCuts(2'000, 5, getFolder(), m_output), "2,000 cuts: none silently short (");
}

TEST_F(ToolTortureTest, aPackedFileThatIsSilentlyShortIsFound) {
    const auto readWhatIsThere = [](const std::string& path) {
        const std::optional<std::string> text = readPackedFile(path);
        return text || !path.ends_with(".xz") ? text : std::optional<std::string>("the beginning");
    };
    expectFinding(tortureCuts(4'000, 5, getFolder(), m_output, readWhatIsThere), "is read as \"the beginning\"");
}

TEST_F(ToolTortureTest, changedDictionariesDoNoHarm) {
    expectNothing(tortureMutations(1'500, 5, m_output),
                  "1,500 mutations of dictionaries and rows: all refused, found or harmless (");
}

TEST_F(ToolTortureTest, aChangedDictionaryThatIsBelievedIsFound) {
    const auto believe = [](const std::string& bytes) {
        try {
            return openDictionaryBytes(bytes);
        } catch (const MelnarException&) {
            auto dictionary = std::make_unique<Dictionary>(
                DictionaryOptions{.m_memoryLimit = size_t(4) << 20, .m_maximumNumberOfResources = 100});
            DictionaryThread thread(*dictionary);
            dictionary->resolveResource(thread, "believed", D_XSD_STRING);
            return dictionary;
        }
    };
    expectFinding(tortureMutations(20, 5, m_output, believe), "what it holds is something else: ");
}

TEST_F(ToolTortureTest, killsLeaveTheOldFileOrTheNewOne) {
    expectNothing(tortureByKills(24, 5, getFolder(), m_output),
                  "24 kills of the tool: all files of each old, or all new (");
}

TEST_F(ToolTortureTest, aFileThatIsWrittenInPlaceIsFound) {
    // Twice as long as the tool takes, so that kills come while the file is away, even on a slow machine. During that
    // time it has a name that a kill may leave, since only the first findings are printed.
    const std::string program =
        addProgram("decode",
                   "mv out-decoded.nt out-decoded.nt.saving; took=$((($(date +%s%N) - began) / 1000000 * 2)); "
                   "sleep $((took / 1000)).$(printf %03d $((took % 1000))); mv out-decoded.nt.saving out-decoded.nt",
                   "began=$(date +%s%N)");
    expectFinding(tortureByKills(99, 5, getFolder(), m_output, program), " of decode: the file is neither");
}

TEST_F(ToolTortureTest, aFileThatIsLeftIsFound) {
    const std::string program = addProgram("canonical", "rm left", ": > left");
    expectFinding(tortureByKills(60, 5, getFolder(), m_output, program), " of canonical leaves the file left");
}

TEST_F(ToolTortureTest, killedLoadsOfShardsResume) {
    expectNothing(tortureShardsByKills(8, 5, getFolder(), m_output),
                  "8 kills of loads of shards: each went on to what an undisturbed load makes (");
}

TEST_F(ToolTortureTest, aLoadOfShardsThatResumesWronglyIsFound) {
    // After a kill its inputs are others that look the same.
    const std::string program =
        addProgram("load", ":",
                   "if [ -e T.npy.saving ]; then\n"
                   "for file in a.nt b.nt; do sed s/literal/LITERAL/ $file > x; touch -r $file x; mv x $file; done\n"
                   "fi\n: > T.npy.saving\nexec '" MELNAR_DICT_EXECUTABLE "' \"$@\"");
    expectFinding(tortureShardsByKills(12, 5, getFolder(), m_output, program), ": it leaves another file T.npy");
}

TEST_F(ToolTortureTest, aLoadOfShardsThatDestroysOldRowsIsFound) {
    const std::string program = addProgram("load", ":", "rm -f T.npy\nexec '" MELNAR_DICT_EXECUTABLE "' \"$@\"");
    expectFinding(tortureShardsByKills(12, 5, getFolder(), m_output, program),
                  "manifest and rows are neither both old nor both new");
}

TEST_F(ToolTortureTest, decodingGivesBackWhatWasEncoded) {
    ::unsetenv("MELNAR_DATA"); // all of it is too much for a test
    expectNothing(tortureByRewriting(10, 5, getFolder(), m_output),
                  "10 files encoded and decoded: each as canonical writes it (10 made, 0 real ones; ");
}

TEST_F(ToolTortureTest, whatIsDecodedWronglyIsFound) {
    ::unsetenv("MELNAR_DATA");
    const std::string program = addProgram("decode", "sed -i '2s/\\\\\\\\t/ /;3s/ /  /' decoded-*.nq");
    expectFinding(tortureByRewriting(10, 5, getFolder(), m_output, program), ": it is decoded to something else: .n");
}

TEST_F(ToolTortureTest, rowsThatAreNotThoseOfTheLoadAreFound) {
    ::unsetenv("MELNAR_DATA");
    const std::string program = addProgram("encode", "echo >> encoded.npy");
    expectFinding(tortureByRewriting(2, 5, getFolder(), m_output, program), ": load and encode write other rows: .");
}

TEST(FindingsTest, whatIsPrintedCanBePastedIntoATest) {
    EXPECT_EQ("\"a\\\"\\\\\\x0A\"\"b\\xFF\\x00\"", quoteBytes(std::string("a\"\\\nb\xFF\0", 7)));
    EXPECT_EQ("148,500", withCommas(148'500));
    EXPECT_EQ("999", withCommas(999));
    EXPECT_EQ("1,000,000", withCommas(1'000'000));
}

TEST(FindingsTest, nothingThatWasTriedIsNoSuccess) {
    std::ostringstream output;
    EXPECT_FALSE(Findings(output).finish(0, "kills", "none"));
    EXPECT_EQ("0 kills: 0 WRONG\n", output.str());
}

} // namespace

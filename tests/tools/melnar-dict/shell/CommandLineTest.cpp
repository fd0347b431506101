#include "tools/melnar-dict/shell/CommandLine.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

/// A verb with an option of each kind, which records all its arguments.
struct NotingVerb {
    VerbDescription m_description{"note", "note what is given", "Text.", "0 done.", {}};
    std::string m_first;
    std::vector<std::string> m_rest;
    std::vector<std::string> m_values; // of --value and operands
    std::string m_text;
    std::string m_file;
    bool m_flag = false;
    uint64_t m_number = 0;
    uint64_t m_size = 0;
    bool m_isChecked = false;

    NotingVerb() {
        m_description.addFileOperand("FIRST", "a first", m_first);
        m_description.addOperands("REST", "a rest", m_rest);
        m_description.addText("-t,--text", "TEXT", "a text", m_text);
        m_description.addFile("--file", "FILE", "a file", m_file);
        m_description.addFlag("--flag", "a flag", m_flag);
        m_description.addNumber("--number", "N", "a number", m_number, 1, 10);
        m_description.addSize("--size", "a size", m_size);
        m_description.addOption("--value", "VALUE", "any value",
                                [this](const std::string& value) { m_values.push_back(value); });
        m_description.m_checks.emplace_back([this] { m_isChecked = true; });
    }

    /// Reads these arguments after the operands "a" and "b".
    NotingVerb& read(const std::vector<std::string>& arguments) {
        std::vector<std::string> all{"a", "b"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(Request::WORK, readCommandLine(m_description, all));
        EXPECT_TRUE(m_isChecked);
        EXPECT_EQ("a", m_first);
        EXPECT_EQ("b", m_rest.at(0));
        return *this;
    }
};

std::string messageOf(const std::vector<std::string>& arguments) {
    NotingVerb verb;
    const auto failure = catchException<ToolFailure>([&] { readCommandLine(verb.m_description, arguments); });
    EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
    EXPECT_FALSE(verb.m_isChecked);
    return failure.what();
}

using Texts = std::vector<std::string>;

TEST(CommandLineTest, takesOptionsBeforeBetweenAndAfterOperands) {
    NotingVerb verb;
    readCommandLine(verb.m_description,
                    {"--flag", "first", "--text", "text", "second", "--number=3", "third", "--size", "2K"});
    EXPECT_EQ("first", verb.m_first);
    EXPECT_EQ((Texts{"second", "third"}), verb.m_rest);
    EXPECT_TRUE(verb.m_flag);
    EXPECT_EQ("text", verb.m_text);
    EXPECT_EQ(3u, verb.m_number);
    EXPECT_EQ(2048u, verb.m_size);
}

TEST(CommandLineTest, takesEverythingAfterTwoDashesAsOperands) {
    EXPECT_EQ((Texts{"b", "--flag", "--", "-t", "--unknown=", "-"}),
              NotingVerb().read({"--", "--flag", "--", "-t", "--unknown=", "-"}).m_rest);
    EXPECT_EQ((Texts{"b"}), NotingVerb().read({"--"}).m_rest);
}

TEST(CommandLineTest, takesForOperandsWhatOnlyLooksLikeSomethingElse) {
    const Texts operands{"-",    "",     "-5",  "/flag",  "a=b",      "a,b", "[a,b]", "[]",
                         "{}",   "%%",   "'x'", "\"x\"",  "\"x\"@en", "a b", "\n",    "++",
                         "note", "help", "#",   "[text]", "-1.5",     "=",   "]"};
    Texts expected{"b"};
    expected.insert(expected.end(), operands.begin(), operands.end());
    EXPECT_EQ(expected, NotingVerb().read(operands).m_rest);
}

TEST(CommandLineTest, takesAValueAfterTheEqualsSignOrFromTheNextArgument) {
    const Texts values{"x",   "x=y",   "-",   "--flag",  "--", "-t",   "[a,b]", "[]",    "{}",    "%%",
                       "a,b", "\"q\"", "'q'", "--value", "=",  "true", "-5",    "/flag", " a b ", ""};
    for (const std::string& value : values) {
        EXPECT_EQ((Texts{value}), NotingVerb().read({"--value", value}).m_values);
        EXPECT_EQ((Texts{value}), NotingVerb().read({"--value=" + value}).m_values);
    }
    NotingVerb verb;
    verb.read({"--value=", "--flag", "c"});
    EXPECT_EQ((Texts{""}), verb.m_values) << "not the next argument";
    EXPECT_TRUE(verb.m_flag);
    EXPECT_EQ((Texts{"b", "c"}), verb.m_rest);
}

TEST(CommandLineTest, takesTheValueOfAShortOptionAfterItOrFromTheNextArgument) {
    EXPECT_EQ("x", NotingVerb().read({"-t", "x"}).m_text);
    EXPECT_EQ("x", NotingVerb().read({"-tx"}).m_text);
    EXPECT_EQ("-", NotingVerb().read({"-t-"}).m_text);
    EXPECT_EQ("-t", NotingVerb().read({"-t", "-t"}).m_text);
}

TEST(CommandLineTest, callsOptionsInTheOrderGivenSoThatTheLastOneCounts) {
    EXPECT_EQ((Texts{"1", "2", "", "[3]", "1"}),
              NotingVerb().read({"--value=1", "--value", "2", "--value=", "--value", "[3]", "--value=1"}).m_values);
    EXPECT_EQ("z", NotingVerb().read({"-t", "x", "--text=y", "-tz"}).m_text);
    EXPECT_EQ(4u, NotingVerb().read({"--number=3", "--number", "4"}).m_number);
    EXPECT_TRUE(NotingVerb().read({"--flag", "--flag", "--flag"}).m_flag);
}

TEST(CommandLineTest, readsNothingFromTheEnvironment) {
    ::setenv("TEXT", "x", 1);
    ::setenv("NOTE_TEXT", "x", 1);
    EXPECT_EQ("", NotingVerb().read({}).m_text);
    ::unsetenv("TEXT");
    ::unsetenv("NOTE_TEXT");
}

TEST(CommandLineTest, takesManyOperands) {
    const Texts operands(100'000, "x");
    EXPECT_EQ(100'001u, NotingVerb().read(operands).m_rest.size());
}

TEST(CommandLineTest, asksForHelpWhateverElseIsThere) {
    for (const Texts& arguments : {Texts{"--help"}, {"-h"}, {"a", "--help", "--unknown"}, {"--number", "x", "-h"}}) {
        NotingVerb verb;
        EXPECT_EQ(Request::HELP, readCommandLine(verb.m_description, arguments));
        EXPECT_FALSE(verb.m_isChecked);
    }
}

TEST(CommandLineTest, refusesAValueThatIsMissingOrNotWanted) {
    EXPECT_EQ("option --value needs a value", messageOf({"a", "--value"}));
    EXPECT_EQ("option -t needs a value", messageOf({"a", "b", "-t"}));
    for (const char* const value : {"yes", "true", "false", "", "{}", "1", "--flag"})
        EXPECT_EQ("option --flag takes no value", messageOf({"a", "b", std::string("--flag=") + value})) << value;
    EXPECT_EQ("the value of option --text is empty", messageOf({"a", "b", "--text", ""}));
}

TEST(CommandLineTest, refusesTheUnknownByName) {
    EXPECT_EQ("unknown option --what", messageOf({"a", "b", "--what"}));
    EXPECT_EQ("unknown option --what", messageOf({"a", "b", "--what=3"}));
    EXPECT_EQ("unknown option -x", messageOf({"a", "b", "-x"}));
    EXPECT_EQ("unknown option --fla; did you mean '--flag'?", messageOf({"a", "b", "--fla"}))
        << "names are not cut short";
    EXPECT_EQ("unknown option --FLAG", messageOf({"a", "b", "--FLAG"}));
}

TEST(CommandLineTest, refusesOperandsThatAreMissingOrTooMany) {
    EXPECT_EQ("note needs a first", messageOf({}));
    EXPECT_EQ("note needs a rest", messageOf({"--flag", "a"}));
    VerbDescription verb{"single", "", "", "", {}};
    std::string first;
    verb.addFileOperand("FIRST", "a first", first);
    EXPECT_EQ("single does not take 'b'", std::string(catchException<ToolFailure>([&] {
                                                          readCommandLine(verb, {"a", "b"});
                                                      }).what()));
}

TEST(CommandLineTest, refusesAnOptionThatIsMissing) {
    NotingVerb verb;
    verb.m_description.requireOption("--text");
    const auto failure = catchException<ToolFailure>([&] { readCommandLine(verb.m_description, {"a", "b"}); });
    EXPECT_EQ("note needs -t TEXT", std::string(failure.what()));
    EXPECT_FALSE(verb.m_isChecked);
    EXPECT_EQ("x", verb.read({"-tx"}).m_text);
    EXPECT_EQ("note [OPTION...] -t TEXT FIRST REST...", verb.m_description.getUsage());
}

TEST(CommandLineTest, refusesADashForAFile) {
    const std::string cause = " must be a file; '-' is standard input or output, and './-' is a file of that name";
    EXPECT_EQ("FIRST" + cause, messageOf({"-", "b"}));
    EXPECT_EQ("FILE" + cause, messageOf({"a", "b", "--file", "-"}));
    EXPECT_EQ("./-", NotingVerb().read({"--file", "./-"}).m_file);
}

TEST(CommandLineTest, refusesNumbersOutOfBounds) {
    for (const char* const value : {"0", "11", "-1", "+1", "1.0", "1 ", " 1", "", "0x1", "one", "18446744073709551616"})
        EXPECT_EQ("option --number needs a number from 1 to 10, not '" + std::string(value) + "'",
                  messageOf({"a", "b", "--number", value}));
    EXPECT_EQ("option --size needs a number of bytes, such as 4096, 512M or 16G, not '1B'",
              messageOf({"a", "b", "--size=1B"}));
}

} // namespace

#include "tools/melnar-dict/shell/ArgumentReader.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

ArgumentReader readerAt(const std::vector<std::string>& arguments) {
    ArgumentReader reader(arguments);
    EXPECT_TRUE(reader.next());
    return reader;
}

std::string messageOf(const std::function<void()>& action) {
    const auto failure = catchException<ToolFailure>(action);
    EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
    return failure.what();
}

uint64_t bytesOf(const std::string& value) {
    return readerAt({"--limit", value}).takeNumberOfBytes();
}

TEST(ArgumentReaderTest, tellsOptionsFromOperands) {
    ArgumentReader reader({"--one", "two", "-", "-x", ""});
    const std::vector<std::pair<std::string, bool>> expected{
        {"--one", true}, {"two", false}, {"-", false}, {"-x", true}, {"", false}};
    for (const auto& [argument, isOption] : expected) {
        ASSERT_TRUE(reader.next());
        EXPECT_EQ(argument, reader.getArgument());
        EXPECT_EQ(isOption, reader.isOption());
    }
    EXPECT_FALSE(reader.next());
}

TEST(ArgumentReaderTest, takesEverythingBehindTwoDashesForOperands) {
    ArgumentReader reader({"--", "--one", "--"});
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("--one", reader.getArgument());
    EXPECT_FALSE(reader.isOption());
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("--", reader.getArgument());
    EXPECT_FALSE(reader.next());
}

TEST(ArgumentReaderTest, takesAValueBehindTheEqualsSignOrFromTheNextArgument) {
    ArgumentReader reader({"--a=x=y", "--b", "--c", "--d=", "-"});
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("--a", reader.getArgument());
    EXPECT_EQ("x=y", reader.takeValue());
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("--c", reader.takeValue()) << "whatever the next argument looks like";
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("", reader.takeValue());
    ASSERT_TRUE(reader.next());
    EXPECT_EQ("-", reader.getArgument());
}

TEST(ArgumentReaderTest, keepsAnEqualsSignInAnOperand) {
    EXPECT_EQ("a=b", readerAt({"a=b"}).getArgument());
}

TEST(ArgumentReaderTest, refusesAValueThatIsMissingOrNotWanted) {
    EXPECT_EQ("option --a needs a value", messageOf([] { readerAt({"--a"}).takeValue(); }));
    EXPECT_EQ("option --a takes no value", messageOf([] { readerAt({"--a=1"}).next(); }));
}

TEST(ArgumentReaderTest, takesNumbersWithinBoundsOnly) {
    EXPECT_EQ(1u, readerAt({"--n", "1"}).takeNumber(1, 10));
    EXPECT_EQ(10u, readerAt({"--n=10"}).takeNumber(1, 10));
    EXPECT_EQ(std::numeric_limits<uint64_t>::max(),
              readerAt({"--n", "18446744073709551615"}).takeNumber(0, std::numeric_limits<uint64_t>::max()));
    for (const std::string value : {"0", "11", "-1", "+1", "1.0", "1 ", " 1", "", "0x1", "one", "18446744073709551616"})
        EXPECT_EQ("option --n needs a number from 1 to 10, not '" + value + "'", messageOf([&] {
                      readerAt({"--n", value}).takeNumber(1, 10);
                  }));
}

TEST(ArgumentReaderTest, takesBytesWithUnits) {
    EXPECT_EQ(1u, bytesOf("1"));
    EXPECT_EQ(size_t(3) << 10, bytesOf("3K"));
    EXPECT_EQ(size_t(3) << 10, bytesOf("3k"));
    EXPECT_EQ(size_t(512) << 20, bytesOf("512M"));
    EXPECT_EQ(size_t(16) << 30, bytesOf("16G"));
    EXPECT_EQ(size_t(2) << 40, bytesOf("2T"));
    EXPECT_EQ(size_t(16383) << 50, bytesOf("16776192T"));
}

TEST(ArgumentReaderTest, refusesBytesThatAreNoneOrTooMany) {
    for (const std::string value : {"0", "0G", "G", "", "1B", "1GB", "1.5G", "-1", "1 G", "16777216T", "1GG"})
        EXPECT_EQ("option --limit needs a number of bytes, such as 4096, 512M or 16G, not '" + value + "'",
                  messageOf([&] { bytesOf(value); }));
}

TEST(ArgumentReaderTest, refusesTheUnknownByName) {
    EXPECT_EQ("unknown option --x", messageOf([] { readerAt({"--x"}).refuse(); }));
    EXPECT_EQ("unexpected argument x", messageOf([] { readerAt({"x"}).refuse(); }));
}

} // namespace

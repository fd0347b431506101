#include "tools/melnar-dict/shell/MessageOutput.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

constexpr const char* ERASE = "\r\x1b[K";

class MessageOutputTest : public testing::Test {
protected:
    /// Returns what was written since the last time.
    std::string take() {
        std::string text = m_stream.str();
        m_stream.str("");
        return text;
    }

    std::ostringstream m_stream;
};

TEST_F(MessageOutputTest, writesMessagesUnchanged) {
    MessageOutput output(m_stream);
    output.write("a\nb\n");
    EXPECT_EQ("a\nb\n", take());
    output.removeLine();
    EXPECT_EQ("", take()) << "there is none";
}

TEST_F(MessageOutputTest, erasesTheLineBeforeAnythingElse) {
    {
        MessageOutput output(m_stream);
        output.showLine("50 %");
        EXPECT_EQ(std::string(ERASE) + "50 %", take());
        output.showLine("60 %");
        EXPECT_EQ(std::string(ERASE) + "60 %", take());
        output.write("a\n");
        EXPECT_EQ(std::string(ERASE) + "a\n", take());
        output.write("b\n");
        EXPECT_EQ("b\n", take());
        output.showLine("70 %");
        output.removeLine();
        EXPECT_EQ(std::string(ERASE) + "70 %" + ERASE, take());
        output.showLine("80 %");
        take();
    }
    EXPECT_EQ(ERASE, take()) << "at the end";
}

} // namespace

#include "Engine/core/platform/StringEscaping.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

std::string getAppended(const std::string& text) {
    std::string output;
    appendStringEscaped(output, text.data(), text.data() + text.size());
    return output;
}

std::string getPrinted(const std::string& text) {
    MemoryOutputStream output;
    printStringEscaped(output, text.data(), text.data() + text.size());
    return output.getBytes();
}

void appendUTF8(std::string& output, const uint32_t codePoint) {
    const auto append = [&output](const uint32_t byte) { output.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80)
        append(codePoint);
    else if (codePoint < 0x800) {
        append(0xC0 | codePoint >> 6);
        append(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        append(0xE0 | codePoint >> 12);
        append(0x80 | (codePoint >> 6 & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    } else {
        append(0xF0 | codePoint >> 18);
        append(0x80 | (codePoint >> 12 & 0x3F));
        append(0x80 | (codePoint >> 6 & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    }
}

/// Parses the text between the double quotes of a Turtle string on one line, by its grammar: any character except
/// quote, backslash, line feed and carriage return; the escapes \t \b \n \r \f \" \' \\; \u and four digits.
std::optional<std::string> parseStringBody(const std::string_view body) {
    static constexpr std::string_view ESCAPES = "tbnrf\"'\\";
    static constexpr std::string_view MEANINGS = "\t\b\n\r\f\"'\\";
    std::string text;
    for (size_t index = 0; index < body.size(); ++index) {
        const char character = body[index];
        if (character == '"' || character == '\n' || character == '\r')
            return std::nullopt;
        if (character != '\\') {
            text.push_back(character);
            continue;
        }
        if (++index == body.size())
            return std::nullopt;
        if (const size_t escape = ESCAPES.find(body[index]); escape != std::string_view::npos)
            text.push_back(MEANINGS[escape]);
        else if (body[index] == 'u' && body.size() - index > 4) {
            const std::string digits(body.substr(index + 1, 4));
            if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
                return std::nullopt;
            appendUTF8(text, static_cast<uint32_t>(std::stoul(digits, nullptr, 16)));
            index += 4;
        } else
            return std::nullopt;
    }
    return text;
}

/// Records each write separately.
class RecordingOutputStream final : public OutputStream {
public:
    const std::string& getName() const override { return m_name; }
    void write(const void* const data, const size_t numberOfBytes) override {
        m_writes.emplace_back(static_cast<const char*>(data), numberOfBytes);
    }
    void flush() override {}

    std::vector<std::string> m_writes;

private:
    const std::string m_name = "record";
};

} // namespace

TEST(StringEscapingTest, printAndAppendAgreeOnEveryByte) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(getPrinted(text), getAppended(text)) << "byte " << byte;
        std::string surrounded = "a";
        surrounded.append(text).append("b").append(text);
        EXPECT_EQ(getPrinted(surrounded), getAppended(surrounded)) << "byte " << byte;
    }
}

TEST(StringEscapingTest, namedEscapesAreUsedWhereTurtleHasThem) {
    EXPECT_EQ(R"(\" \\ \n \r \t \b \f)", getAppended("\" \\ \n \r \t \b \f"));
}

TEST(StringEscapingTest, otherControlCharactersAreWrittenByNumber) {
    EXPECT_EQ(R"(\u0000\u0001\u000B\u001F\u007F)", getAppended(std::string("\0\x01\x0B\x1F\x7F", 5)));
}

TEST(StringEscapingTest, everythingElseIsLeftUnchanged) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const bool isControl = byte < 0x20 || byte == 0x7F;
        if (!isControl && byte != '"' && byte != '\\') {
            const std::string text(1, static_cast<char>(byte));
            EXPECT_EQ(text, getAppended(text)) << "byte " << byte;
        }
    }
}

TEST(StringEscapingTest, emptyTextWritesNothing) {
    RecordingOutputStream output;
    printStringEscaped(output, nullptr, nullptr);
    EXPECT_TRUE(output.m_writes.empty());
    EXPECT_EQ("", getAppended(""));
}

TEST(StringEscapingTest, appendingKeepsWhatIsThere) {
    std::string output = "\"";
    const std::string text = "a\nb";
    appendStringEscaped(output, text.data(), text.data() + text.size());
    EXPECT_EQ("\"a\\nb", output);
}

TEST(StringEscapingTest, unchangedRunsAreWrittenInOnePiece) {
    RecordingOutputStream output;
    const std::string text = "first\nsecond\n\nthird";
    printStringEscaped(output, text.data(), text.data() + text.size());
    EXPECT_EQ((std::vector<std::string>{"first", "\\n", "second", "\\n", "\\n", "third"}), output.m_writes);
}

TEST(StringEscapingTest, everyASCIICharacterReadsBack) {
    for (unsigned byte = 0; byte < 128; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        EXPECT_EQ(text, parseStringBody(getAppended(text))) << "byte " << byte;
    }
}

TEST(StringEscapingTest, everyPairOfASCIICharactersReadsBack) {
    for (unsigned first = 0; first < 128; ++first)
        for (unsigned second = 0; second < 128; ++second) {
            const std::string text{static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(text, parseStringBody(getAppended(text))) << "bytes " << first << " and " << second;
        }
}

TEST(StringEscapingTest, everyUnicodeCharacterReadsBack) {
    std::string text;
    for (uint32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint)
        if (codePoint < 0xD800 || codePoint > 0xDFFF)
            appendUTF8(text, codePoint);
    const std::string escaped = getAppended(text);
    EXPECT_TRUE(text == parseStringBody(escaped));
    EXPECT_TRUE(escaped == getPrinted(text));
}
